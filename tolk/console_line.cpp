#include "console_line.h"

using Guard = Qorv::CScopeLock<Qorv::FASTKSV_PCLOCK>;

namespace {

std::uint16_t UsableWidth(Qorv::CConsoleTerm& term) {
  Qorv::WINDOWSIZE size;
  term.GetWindowSize(size);
  return static_cast<std::uint16_t>(size.columns - 1);
}

}  // namespace

CConsoleLine::CConsoleLine() : width_(UsableWidth(term_)) {}

void CConsoleLine::EraseLine() {
  if (lastLine_.empty()) return;
  eraseText_.clear();
  for (std::uint64_t i = 0; i < lastLine_.length(); ++i)
    eraseText_ += "\b \b";
  term_ << eraseText_;
  eraseText_.clear();
  lastLine_.clear();
}

void CConsoleLine::WriteGuarded(const Qorv::stringEx& piece) {
  Guard guard(lock_);
  EraseLine();
  term_ << piece;
}

void CConsoleLine::ShowProgress(const Qorv::stringEx& line) {
  Guard guard(lock_);
  EraseLine();
  lastLine_ = line;
  lastLine_.truncate(width_);
  term_ << lastLine_;
}

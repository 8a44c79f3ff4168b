// Timed backups of a file beside itself.
#include <unistd.h>

#include <algorithm>
#include <string_view>

#include <qorv/file.h>
#include <qorv/log.h>
#include <qorv/time.h>

#include "file/dir_common.h"

namespace Qorv {
namespace {

// A path in the parts from which the names of its backups are made.
struct BACKUPNAME {
  explicit BACKUPNAME(std::string_view path) noexcept {
    const std::size_t nameStart = path.rfind('/') + 1;
    std::size_t dot = path.rfind('.');
    if (dot == std::string_view::npos || dot <= nameStart) dot = path.size();  // a leading one begins a name
    folder = path.substr(0, nameStart);
    stem = path.substr(nameStart, dot - nameStart);
    extension = path.substr(dot);
  }

  std::string_view folder;  // with its slash; empty for the working directory
  std::string_view stem;
  std::string_view extension;  // with its dot
};

constexpr std::string_view timeFormat = "%Y%M%d_%H%T%S";

// As the format gives it. Whatever else somebody has put behind an "@" is no backup.
bool IsTime(std::string_view text) noexcept {
  constexpr std::string_view shape = "dddddddd_dddddd";
  return std::equal(text.begin(), text.end(), shape.begin(), shape.end(), [](char c, char expected) {
    return expected == 'd' ? c >= '0' && c <= '9' : c == expected;
  });
}

// Paths of the backups there are, oldest first.
std::vector<stringEx> FindBackups(const BACKUPNAME& name) {
  stringEx wildcard;
  IMPL::AppendQuoted(wildcard, name.stem);
  wildcard += "@*";
  IMPL::AppendQuoted(wildcard, name.extension);
  std::vector<stringEx> backups;
  for (const stringEx& found :
       CDir::GetAllFiles(name.folder.empty() ? "."_sv : stringEx(name.folder), wildcard)) {
    const std::string_view text = found;
    const std::size_t fixed = name.stem.size() + 1 + name.extension.size();
    if (!IsTime(text.substr(name.stem.size() + 1, text.size() - fixed))) continue;
    backups.push_back(stringEx(name.folder) + text);
  }
  return backups;
}

stringEx BackupPath(const BACKUPNAME& name) {
  stringEx path(name.folder);
  path += name.stem;
  path += '@';
  CTime::Now().Format(path, stringEx::view(timeFormat));
  return std::move(path += name.extension);
}

void LogFailedRemoval(const qvExp& failure) noexcept {
  CLog::GWarning("util.dir.backup", "failed remove backup file\n@ %s", failure.GetMessage().data());
}

void Thin(const BACKUPNAME& name, std::int32_t keep) {
  if (keep < 1) return;
  try {
    std::vector<stringEx> backups = FindBackups(name);
    const std::size_t surplus = backups.size() - std::min(backups.size(), static_cast<std::size_t>(keep));
    for (std::size_t i = 0; i < surplus; ++i) {
      try {
        CDir::RemoveFile(backups[i]);
      } catch (const dirExp& failure) {
        LogFailedRemoval(failure);
      }
    }
  } catch (const dirExp& failure) {
    LogFailedRemoval(failure);
  }
}

}  // namespace

stringEx CDir::BackupFile(const stringEx& path, std::uint32_t mode, std::int32_t keep) {
  const BACKUPNAME name(path);
  stringEx backup = BackupPath(name);
  if (mode >= backupMode::copy) {
    DuplicateFile(path, backup);
  } else {
    if (mode == backupMode::moveOver) ::unlink(IMPL::PathForSystem(backup).data());
    TransferFile(path, backup);
  }
  Thin(name, keep);
  return backup;
}

bool CDir::RestoreFile(const stringEx& path) {
  const BACKUPNAME name(path);
  stringEx newest;
  try {
    const std::vector<stringEx> backups = FindBackups(name);
    if (backups.empty()) return false;
    newest = backups.back();
    DuplicateFile(newest, path, true);
    return true;
  } catch (const dirExp& failure) {
    CLog::GError("util.dir.restore", "failed restore the backup file\n  from = %s\n  to   = %s\n@ %s",
                 newest.data(), stringEx(std::string_view(path)).data(), failure.GetMessage().data());
    return false;
  }
}

}  // namespace Qorv

#include <qorv/detail/kill_hold.h>

#include <qorv/detail/semaphore.h>

#include "thread/thread_imp.h"

namespace Qorv::IMPL {

constinit thread_local KILLSTATE killState;

void ObeyKill() noexcept {
  killState.isDue.store(false, std::memory_order_relaxed);
  CThread_Imp* const self = CThread_Imp::Current();
  if (self == nullptr || !self->AcceptKill()) return;
  for (const CKillUndo* undo = killState.undo; undo != nullptr;)
    undo = undo->Take();
  self->Escape();
}

void BreakOffIfKilled() noexcept {
  if (IsKillDue() && killState.holds.load(std::memory_order_relaxed) < securedHold) ObeyKill();
}

namespace {

struct PLACE {
  std::atomic<std::int64_t>& count;
  CSem& sem;
};

// As long as anybody waits who has not been given a turn, this thread may be the one. If nobody does, its turn has come
// or is on the way, and goes to the next.
void GiveUpPlace(void* subject) noexcept {
  const auto& [count, sem] = *static_cast<PLACE*>(subject);
  std::int64_t counted = count.load(std::memory_order_relaxed);
  while (counted > 0) {
    if (count.compare_exchange_weak(counted, counted - 1, std::memory_order_acq_rel)) return;
  }
  sem.P();
  if (count.fetch_sub(1, std::memory_order_acq_rel) - 1 >= 0) sem.V(1);
}

}  // namespace

void AwaitTurn(std::atomic<std::int64_t>& count, CSem& sem) {
  PLACE place{count, sem};
  CKillUndo undo(GiveUpPlace, &place);
  AwaitSem(sem);
}

void AwaitSem(CSem& sem) {
  while (!sem.InterruptibleP())
    BreakOffIfKilled();
}

CKillNudge::CKillNudge(Nudge nudge, void* subject) : nudge_(nudge), subject_(subject) {
  if (CThread_Imp* const self = CThread_Imp::Current()) self->SetNudge(this);
}

CKillNudge::~CKillNudge() {
  if (CThread_Imp* const self = CThread_Imp::Current()) self->SetNudge(nullptr);
}

}  // namespace Qorv::IMPL

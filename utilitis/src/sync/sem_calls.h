// What can be done with a semaphore of the system, wherever it lies. Failures are semExp, code 4.
#pragma once

#include <semaphore.h>
#include <time.h>

#include <cstdint>

namespace Qorv::IMPL {

void WaitSem(sem_t* sem);
/// False if a signal came first.
bool WaitSemOrSignal(sem_t* sem);
bool TrySem(sem_t* sem);
bool WaitSemFor(sem_t* sem, std::uint32_t milliseconds);
bool WaitSemUntil(sem_t* sem, const timespec& deadline);
void PostSem(sem_t* sem, std::uint32_t n);

}  // namespace Qorv::IMPL

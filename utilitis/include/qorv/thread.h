// Threads as objects.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <string_view>

#include <qorv/detail/kill_hold.h>
#include <qorv/sync.h>

namespace Qorv {

class CThread_Imp;
class CTime;
class CTimeSpan;

/// States of a thread object.
namespace threadState {
inline constexpr std::uint32_t none = 0;       ///< no thread
inline constexpr std::uint32_t suspended = 1;  ///< created and not yet resumed, or suspended
inline constexpr std::uint32_t running = 2;
inline constexpr std::uint32_t stopping = 3;  ///< a stop has been requested, or the thread is being killed
inline constexpr std::uint32_t ended = 4;     ///< ended by itself
inline constexpr std::uint32_t killed = 5;
}  // namespace threadState

/// Levels of priority. What each means in numbers of the system depends on the scheduling policy; where that has one
/// priority alone, every level is normal.
namespace threadPriority {
inline constexpr std::uint32_t idle = 0;
inline constexpr std::uint32_t low = 1;
inline constexpr std::uint32_t below = 2;
inline constexpr std::uint32_t normal = 3;
inline constexpr std::uint32_t above = 4;
inline constexpr std::uint32_t high = 5;
inline constexpr std::uint32_t realtime = 6;
}  // namespace threadPriority

/// A set of processors.
struct CPUMASK {
  static constexpr std::uint32_t size = 1024;

  std::uint64_t words[size / 64] = {};  ///< bit n % 64 of word n / 64 stands for processor n

  /// `processor` is below `size`.
  void Set(std::uint32_t processor) noexcept { words[processor / 64] |= std::uint64_t{1} << processor % 64; }
  bool operator==(const CPUMASK&) const = default;
};

/// The abstract base of all threads. A derived class gives Run; the object is the handle on the one system
/// thread that executes it. Threads are created detached: Wait is the only way to learn of an end.
///
/// state                | operation   | next state | result
/// ---------------------|-------------|------------|------------------------------------------------------------
/// none, ended, killed  | Create      | suspended  | the thread exists and waits for Resume
/// any other            | Create      | unchanged  | threadExp, code 2
/// suspended            | Resume      | running    | the thread enters Run, or goes on behind TestStop
/// running              | Resume      | running    | nothing
/// any other            | Resume      | unchanged  | threadExp, code 3
/// running              | Suspend     | suspended  | the thread blocks at its next TestStop
/// suspended            | Suspend     | suspended  | nothing
/// any other            | Suspend     | unchanged  | threadExp, code 3
/// suspended            | TryStop     | stopping   | resumed first; TestStop is true from now on; false
/// running, stopping    | TryStop     | stopping   | TestStop is true from now on; false
/// none, ended, killed  | TryStop     | unchanged  | true
/// suspended, running,  | Kill        | killed     | the thread runs no more code; objects on its stack are not
/// stopping             |             |            | destroyed; ended where Run was through already
/// none, ended, killed  | Kill        | unchanged  | nothing
/// suspended, running,  | SetPriority | unchanged  | the level is set
/// stopping             |             |            |
/// any other            | SetPriority | unchanged  | threadExp, code 3
/// any that is alive    | Run ends    | ended      | waiters are released
/// any that is alive    | ExitCurrent | unchanged  | waiters are released; no OnFinished, no auto destroy
///
/// Behind ExitCurrent the object stays as it was, without a thread: Wait returns true, Kill and the destructor go the
/// way of a kill, Create still has code 2, TryStop and Suspend are heeded by nobody.
///
/// All operations may be called from any thread. The destructor kills a thread that is still alive and returns only
/// when no Wait is inside the object: a derived class has to stop its thread before its own members go. It must not
/// run on the object's own thread, except by auto destroy. Right after Wait has told of an end the object may go.
///
/// A kill breaks the thread off wherever it is in Run; one that comes before Run is obeyed there, and one that
/// comes behind Run waits while the thread ends by itself. A thread that kills itself does not return from Kill.
///
/// The operations of threads, locks, events and queues are not broken off half done. A kill that finds the thread waiting
/// in one of them ends that wait, and the thread is counted there no more: what it was to be given goes to another.
/// One that finds it anywhere else in them comes when the operation is through. What the thread itself has taken stays
/// so: its locks, those of the allocator among them, and memory. Kill is a last resort; to end a thread use
/// TryStop. Two threads that kill each other both end; the state of one may stay stopping until it is killed again.
///
/// What the library keeps for each thread goes when the thread ends or exits by itself, and not when another kills it.
///
/// Failures are threadExp with a number of threadCode, those of CSem and CEvent, and std::bad_alloc.
class TThread {
 public:
  /// What is called with an exception in flight that no OnUncaught dealt with.
  using UncaughtHandler = void (*)();

  TThread() = default;
  TThread(const TThread&) = delete;
  TThread& operator=(const TThread&) = delete;

  virtual ~TThread() noexcept(false);
  /// Two places of the table of virtual operations that are kept and that nothing calls; both return 0.
  virtual std::uint32_t Reserved1();
  virtual std::uint32_t Reserved2();

 protected:
  /// The thread's body; what it returns becomes the exit code.
  virtual std::uint32_t Run() = 0;
  /// Called inside the handler of an exception that left Run. Returns true if it was dealt with. If not, the
  /// process-wide handler is called, and where there is none the log is flushed and the process ends at once
  /// with status 255.
  virtual bool OnUncaught();
  /// Called on the thread after Run has returned or OnUncaught has finished.
  virtual void OnFinished();
  /// Called by Kill with its argument before the thread is made to end.
  virtual void OnKill(std::uint32_t code);
  /// Turns the argument of Kill into the exit code to record.
  virtual std::uint32_t KillExitCode(std::uint32_t code);

 public:
  /// Asks the thread to end. True if it was not alive to be asked, false if the request stands.
  virtual bool TryStop();

  /// Makes the thread; it enters Run after Resume. `autoDestroy`: the object, made by new, deletes itself
  /// when the thread ends. `stackSize` in bytes; 0 takes the default of the process. Codes 1 and 2.
  void Create(bool autoDestroy, std::uint64_t stackSize);
  void Resume();
  void Suspend();
  /// Returns when the thread runs no more code. With auto destroy the object is gone then; what its destructor
  /// throws comes with code 8. Code 8 is also a signal that could not be sent: the thread runs on, in state
  /// stopping, and may be killed again.
  void Kill(std::uint32_t code);

  /// For the thread's own body, at its safe points: true if a stop has been requested; blocks while a suspend
  /// is.
  bool TestStop() {
    const std::uint32_t flag = stopFlag_.load(std::memory_order_acquire);
    return flag != 0 && TestStopSlow(flag);
  }
  /// True if the thread has ended, waiting up to `milliseconds` for that; waitForever waits without limit.
  bool Wait(std::uint32_t milliseconds);

  // On the thread behind the object. All throw code 4 if there is none: before the first Create, and when it has ended
  // by itself and no Wait is inside.

  /// One of threadPriority. Code 12, also if the thread is gone.
  std::uint32_t GetPriority();
  /// Keeps the policy. Code 3 in the states none, ended and killed, whether a thread is behind the object or not; codes
  /// 12 and 13 of the system, also if the thread is gone. A level that is read again may be one higher.
  void SetPriority(std::uint32_t level);
  /// The system's number. Code 12, also if the thread is gone.
  std::int32_t GetSchdPolicy();
  /// Keeps the level. -1000 changes nothing. Codes 12 and 13, also if the thread is gone.
  void SetSchdPolicy(std::int32_t policy);
  /// The system's id, as CurrentThreadId gives it on that thread.
  std::uint64_t GetId();
  /// Threads run on all processors: this changes nothing. `restricts` to those of the process: code 18 if they cannot
  /// be found out.
  void SetCpuAffinity(const CPUMASK& mask, bool restricts);
  /// These four have no effect on this system.
  void SetIdealCpu(std::uint32_t processor);
  void SetPriorityBoost(bool boosts);
  bool ShouldBoostPriority();
  bool HasPendingIo();
  /// Good only as long as the thread exists.
  pthread_t ToSysHandle();
  /// Each may be null. The system does not tell these times: creation is the start of 1900 plus the offset of the
  /// system's zone, the others are 0.
  void GetTimes(CTime* creation, CTimeSpan* kernel, CTimeSpan* user);

  std::uint32_t GetState() const noexcept { return state_.load(std::memory_order_acquire); }
  std::uint32_t GetExitCode() const noexcept { return exitCode_.load(std::memory_order_acquire); }

  // On the calling thread, whoever made it.

  /// Codes 12 and 13 as above; the setter of the priority gives false instead, the getter of the policy 2.
  static std::uint32_t GetCurrentPriority();
  static bool SetCurrentPriority(std::uint32_t level);
  static std::int32_t GetCurrentSchdPolicy();
  static void SetCurrentSchdPolicy(std::int32_t policy);
  static void SetCurrentCpuAffinity(const CPUMASK& mask, bool restricts);
  /// Ends the thread at once, from anywhere inside Run: objects on its stack are not destroyed, what the library keeps
  /// for it is. Returns, with -32, only on a thread that no TThread has made.
  static std::int32_t ExitCurrent() noexcept;
  /// Lets others have the processor.
  static void Yield() noexcept;
  /// Sleeps the whole time, signals or not. A span below 0 is none.
  static void Sleep(std::uint32_t milliseconds) noexcept;
  static void Sleep(CTimeSpan span) noexcept;
  /// Sleeps one millisecond, less when a signal comes: the library's step of backing off.
  static void SleepTick() noexcept;
  /// The system's id of the calling thread.
  static std::uint64_t CurrentThreadId() noexcept { return IMPL::CurrentThreadId(); }
  /// Installs the process-wide handler for exceptions that no OnUncaught dealt with; null for none. Returns
  /// the one before.
  static UncaughtHandler SetUncaughtHandler(UncaughtHandler handler) noexcept;
  /// Sets the stack size in bytes that Create takes for 0; 0 is the system's own default. Returns the one
  /// before.
  static std::uint64_t SetDefaultStackSize(std::uint64_t size) noexcept;
  /// Of those online, or if the system does not tell, of those configured; 1 if it tells neither.
  static std::uint32_t GetProcessorCount() noexcept;

  /// The level whose name the text begins with, blanks before it and case not counting: "idle", "low", "below",
  /// "above", "high", "realtime". Any other text is normal.
  static std::uint32_t ParsePriority(const stringEx& text);
  /// Sets the processors of a list such as "0,4-7,2"; those beyond the mask are dropped, and so are pieces that are
  /// neither number nor range. True if any was set; otherwise all are.
  static bool ParseCpuMask(const stringEx& text, CPUMASK& mask);

 protected:
  /// The lock that guards changes of state; a derived class may hold it across several operations, but not
  /// across Kill and Wait, which have to give it up.
  FASTKSV_PCLOCK& StateLock() QORV_RETURN_CAPABILITY(lock_) { return lock_; }

 private:
  friend class CThread_Imp;

  bool TestStopSlow(std::uint32_t flag);
  bool KillAlive(IMPL::CSafeScopeLock<FASTKSV_PCLOCK>& guard) QORV_REQUIRES(lock_);
  bool AwaitEnd(IMPL::CSafeScopeLock<FASTKSV_PCLOCK>& guard, std::uint32_t milliseconds)
      QORV_REQUIRES(lock_) QORV_NO_THREAD_SAFETY_ANALYSIS;
  void Destroy(bool isSelf);
  void LeaveWait() noexcept QORV_REQUIRES(lock_);
  void ReleaseImp() noexcept QORV_REQUIRES(lock_);
  CThread_Imp& RequireImp(std::string_view message) QORV_REQUIRES(lock_);
  bool Live(CThread_Imp& imp) noexcept;
  void DealWithUncaught() noexcept;
  void Finish(std::uint32_t code);

  CThread_Imp* imp_ QORV_GUARDED_BY(lock_) = nullptr;  // shared with the system thread by count
  std::atomic<std::uint32_t> state_{threadState::none};
  std::atomic<std::uint32_t> exitCode_{0};
  std::atomic<std::uint32_t> stopFlag_{0};  // 0 none, 1 stop requested, all ones suspend requested
  std::atomic<std::uint32_t> autoDestroy_{0};
  FASTKSV_PCLOCK lock_;
  std::uint32_t waiters_ QORV_GUARDED_BY(lock_) = 0;  // threads inside Wait
  IMPL::CLazySem suspendSem_;
};

}  // namespace Qorv

// Makes a program report how it dies. Including this header in any source of a program is enough.
#pragma once

namespace Qorv {

/// Turns fatal signals (SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGSYS, SIGTRAP), exceptions that nobody catches and
/// exhausted memory into a fatal record on channel "util.errhnd", and then ends the process at once with status 255,
/// without unwinding. Where no logger of a default log takes the record, the text goes to standard error. What cannot be reported
/// ends by the signal itself: an exhausted stack, and a second fault of the same kind inside the report.
///
/// From then on SIGPIPE, SIGURG, SIGTTIN, SIGTTOU, SIGXFSZ and SIGXCPU are ignored, so that what they are about comes as a
/// failure of the call, and an `operator new` that fails ends the process: it throws no std::bad_alloc. Buffers of strings are not made by it,
/// and do throw. The first real-time
/// signal is blocked in the thread that installs and in all that it makes. SIGINT, SIGTERM and SIGHUP stay as they are.
///
/// Only the first call does anything. Meant for the time before main: objects made later, on other threads, may be in
/// the middle of what it replaces.
void InstallHandlers();

/// The same work, whatever was called before, for code that has changed the settings.
void ReinstallHandlers();

namespace IMPL {

/// Installs the handlers when the program's static objects are made.
struct CFatalHandlerToken {
  CFatalHandlerToken() { InstallHandlers(); }
};

}  // namespace IMPL

namespace {
[[maybe_unused]] const IMPL::CFatalHandlerToken fatalHandlerToken;
}

}  // namespace Qorv

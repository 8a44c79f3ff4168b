// Makes a program report how it dies. Including this header in any source of a program is enough.
#pragma once

namespace Qorv {

/// Turns fatal signals (SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGSYS, SIGTRAP), exceptions that nobody catches and
/// exhausted memory into a fatal record on channel "util.errhnd", and then ends the process at once with status 255,
/// without unwinding. While there is no default log the text goes to standard error.
///
/// From then on SIGPIPE, SIGURG, SIGTTIN, SIGTTOU, SIGXFSZ and SIGXCPU are ignored, so that what they are about comes as a
/// failure of the call, and an allocation that fails ends the process: std::bad_alloc is not thrown. The first real-time
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

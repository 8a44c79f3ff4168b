#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include <qorv/file.h>

#include "error/message.h"
#include "file/narrow.h"
#include "file/no_pipe_signal.h"
#include "misc/posix/platform.h"

extern char** environ;

namespace Qorv {
namespace {

using IMPL::CMessage;
using IMPL::RetryOnEintr;

constexpr IMPL::ErrnoText pipeTexts[] = {
    {EMFILE, "the maximum file descriptors are currently open in the calling process"},
    {ENFILE, "the maximum allowable number of files is currently open in the system"},
    {ENOMEM, "unable to allocate the necessary system resource"},
    {EAGAIN, "too many processes"},
    {ENOENT, "path prefix not exists"},
    {EACCES, "permission denied"},
    {ENOTDIR, "path is not a directory"},
    {EEXIST, "the path is taken, and not by a pipe"},
    {ENAMETOOLONG, "file or path name is too long"},
    {ENXIO, "nobody has the other end"},
    {EROFS, "the file system is read-only"},
    {ECHILD, "the command has been waited for already"},
};

[[noreturn]] void Refuse(const char* heading, const char* name, const stringEx& value, int error,
                         std::uint32_t code) {
  CMessage(heading)
      .Field(name, value)
      .Errno("  error code = ", "  error desc = ", error, pipeTexts)
      .Throw<pipeExp>(code);
}

// Runs `step`; what fails in the file below becomes the pipe's own failure.
template <class Step>
auto Chained(const char* heading, Step&& step) {
  try {
    return step();
  } catch (const sysfileExp& failure) {
    CMessage(heading).Inner(failure).Throw<pipeExp>(failure.GetCode());
  }
}

// A command begins with no signal blocked or ignored, whatever this process does with them.
struct CSpawnAttributes {
  CSpawnAttributes() noexcept {
    sigset_t none;
    sigset_t all;
    ::sigemptyset(&none);
    ::sigfillset(&all);
    ::posix_spawnattr_init(&value);
    ::posix_spawnattr_setsigmask(&value, &none);
    ::posix_spawnattr_setsigdefault(&value, &all);
    ::posix_spawnattr_setflags(&value, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  }
  CSpawnAttributes(const CSpawnAttributes&) = delete;
  CSpawnAttributes& operator=(const CSpawnAttributes&) = delete;
  ~CSpawnAttributes() { ::posix_spawnattr_destroy(&value); }

  posix_spawnattr_t value;
};

void MakeEnds(CSysFile& readEnd, CSysFile& writeEnd, const char* heading) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) {
    const int error = errno;
    CMessage(heading)
        .Errno("  error code = ", "  error desc = ", error, pipeTexts)
        .Throw<pipeExp>(fileCode::pipe);
  }
  readEnd = CSysFile::Adopt(ends[0]);
  writeEnd = CSysFile::Adopt(ends[1]);
}

}  // namespace

CPipe::CPipe(CPipe&& other) noexcept
    : read_(std::exchange(other.read_, {})),
      write_(std::exchange(other.write_, {})),
      command_(std::exchange(other.command_, 0)) {}

CPipe& CPipe::operator=(CPipe&& other) {
  if (this != &other) {
    Close();
    read_ = std::exchange(other.read_, {});
    write_ = std::exchange(other.write_, {});
    command_ = std::exchange(other.command_, 0);
  }
  return *this;
}

CPipe::~CPipe() noexcept(false) {
  IMPL::DropWhileUnwinding([this] { Close(); });
}

void CPipe::Create() {
  CPipe fresh;
  MakeEnds(fresh.read_, fresh.write_, "CPipe::Create - failed create pipe\n");
  *this = std::move(fresh);
}

void CPipe::Open(const stringEx& path, int access, std::uint32_t permissions) {
  constexpr const char* heading = "CPipe::Open - failed open named pipe\n";
  const stringEx name(path.data(), path.length());
  if (RetryOnEintr([&] { return ::mkfifo(name.data(), static_cast<mode_t>(permissions)); }) != 0 &&
      errno != EEXIST)
    Refuse(heading, "  file path  = ", name, errno, fileCode::open);
  struct stat status;
  if (::stat(name.data(), &status) != 0) Refuse(heading, "  file path  = ", name, errno, fileCode::open);
  if (!S_ISFIFO(status.st_mode)) Refuse(heading, "  file path  = ", name, EEXIST, fileCode::open);
  CPipe fresh;
  Chained(heading, [&] {
    CSysFile end;
    end.OpenRaw(name, access, 0, fileShare::none, permissions, 0);
    if ((access & O_ACCMODE) != O_WRONLY) fresh.read_ = end;
    if ((access & O_ACCMODE) != O_RDONLY) fresh.write_ = end;
  });
  *this = std::move(fresh);
}

void CPipe::Open(const wstringEx& path, int access, std::uint32_t permissions) {
  Open(IMPL::NarrowForSystem(path), access, permissions);
}

void CPipe::Run(const stringEx& command, bool writes) {
  constexpr const char* heading = "CPipe::Run - failed run command\n";
  const stringEx line(command.data(), command.length());
  CPipe fresh;
  MakeEnds(fresh.read_, fresh.write_, heading);
  CSysFile& theirs = writes ? fresh.read_ : fresh.write_;
  const int target = writes ? STDIN_FILENO : STDOUT_FILENO;

  posix_spawn_file_actions_t actions;
  int error = ::posix_spawn_file_actions_init(&actions);
  if (error == 0) {
    // Also where the end has that very number: the system then takes the mark off that would close it.
    error = ::posix_spawn_file_actions_adddup2(&actions, static_cast<int>(theirs.GetSysHandle()), target);
    if (error == 0) {
      const char* const arguments[] = {"sh", "-c", line.data(), nullptr};
      const CSpawnAttributes attributes;
      error = ::posix_spawn(&fresh.command_, "/bin/sh", &actions, &attributes.value,
                            const_cast<char* const*>(arguments), environ);
    }
    ::posix_spawn_file_actions_destroy(&actions);
  }
  if (error != 0) {
    fresh.command_ = 0;
    Refuse(heading, "  command    = ", line, error, fileCode::pipe);
  }
  Chained(heading, [&] { theirs.Close(); });
  *this = std::move(fresh);
}

std::size_t CPipe::Read(void* buffer, std::size_t size) {
  constexpr const char* heading = "CPipe::Read - failed reading pipe\n";
  try {
    return read_.Read(buffer, size);
  } catch (const sysfileExp& failure) {
    CMessage(heading).Inner(failure).Throw<pipeExp>(fileCode::pipe);
  }
}

void CPipe::Write(const void* data, std::size_t size) {
  const IMPL::CNoPipeSignal noSignal;
  Chained("CPipe::Write - failed writing pipe\n", [&] {
    const auto* bytes = static_cast<const unsigned char*>(data);
    for (std::uint64_t left = size; left != 0;) {
      const std::uint64_t count = write_.Write(bytes, left);
      bytes += count;
      left -= count;
    }
  });
}

void CPipe::CloseReadEnd() {
  Chained("CPipe::CloseReadEnd - failed close pipe\n", [this] { read_.Close(); });
}

void CPipe::CloseWriteEnd() {
  Chained("CPipe::CloseWriteEnd - failed close pipe\n", [this] { write_.Close(); });
}

int CPipe::Close() {
  CloseReadEnd();
  CloseWriteEnd();
  const pid_t command = std::exchange(command_, 0);
  if (command == 0) return 0;
  int status = 0;
  if (RetryOnEintr([&] { return ::waitpid(command, &status, 0); }) < 0)
    Refuse("CPipe::Close - failed wait for the command\n", "  process id = ", stringEx().append_int(command),
           errno, fileCode::close);
  return status;
}

}  // namespace Qorv

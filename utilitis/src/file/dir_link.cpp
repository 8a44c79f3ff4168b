// Links, and shortcuts that are shell scripts.
#include <sys/stat.h>
#include <unistd.h>

#include <qorv/file.h>

#include "error/message.h"
#include "file/dir_common.h"
#include "misc/posix/platform.h"

namespace Qorv {
namespace {

using IMPL::CMessage;
using IMPL::ErrnoOf;
using IMPL::PathForSystem;

constexpr IMPL::ErrnoText hardLinkTexts[] = {
    {ENOENT, "target file or directory of the link not exists"},
    {EEXIST, "link already exists"},
    {EXDEV, "target and link are on different file systems"},
    {EPERM, "the target is a directory, or the file system does not support hard links"},
    {EMLINK, "too many links to the target"},
    {EACCES, "permission denied"},
    {ENOTDIR, "path prefix is not a valid directory"},
    {ENOSPC, "no space left on the device"},
    {EROFS, "the file system containing the link is read-only"},
    {ELOOP, "a loop exists in symbolic links, or too many level of links"},
    {ENAMETOOLONG, "path name is too long"},
};

constexpr IMPL::ErrnoText symbolicLinkTexts[] = {
    {ENOENT, "directory of the link not exists"},
    {EEXIST, "link already exists"},
    {EACCES, "permission denied"},
    {EPERM, "the file system does not support symbolic links"},
    {ENOTDIR, "path prefix is not a valid directory"},
    {EIO, "io error occurred to the file system"},
    {ENOSPC, "no space left on the device"},
    {EFBIG, "size too big"},
    {EROFS, "the file system containing the link is read-only"},
    {ELOOP, "a loop exists in symbolic links, or too many level of links"},
    {ENAMETOOLONG, "path name is too long"},
};

struct SHORTCUT {
  const stringEx& target;
  const stringEx& link;
  const stringEx& arguments;
  const stringEx& workingDir;
};

[[noreturn]] void Fail(std::string_view heading, const SHORTCUT& shortcut, int error,
                       IMPL::ErrnoTable texts) {
  CMessage message(heading);
  message.Field("  link path   = ", shortcut.link).Field("  link target = ", shortcut.target);
  if (!shortcut.arguments.empty()) message.Field("  arguments   = ", shortcut.arguments);
  if (!shortcut.workingDir.empty()) message.Field("  working dir = ", shortcut.workingDir);
  message.Errno("  error code  = ", "  error desc  = ", error, texts).Throw<dirExp>(dirCode::link);
}

// As one word of the shell.
stringEx Quoted(const stringEx& path) {
  stringEx word("'");
  PathForSystem(path).replace_append_to(word, "'", "'\\''");
  return std::move(word += '\'');
}

stringEx ScriptOf(const SHORTCUT& shortcut) {
  stringEx script("#!/bin/sh\n");
  if (!shortcut.workingDir.empty()) {
    script += "cd -- ";
    script += Quoted(shortcut.workingDir);
    script += " || exit 1\n";
  }
  script += "exec ";
  script += Quoted(shortcut.target);
  if (!shortcut.arguments.empty()) {
    script += ' ';
    script += shortcut.arguments;
  }
  return std::move(script += " \"$@\"\n");
}

int WriteScript(const SHORTCUT& shortcut) {
  const stringEx link = PathForSystem(shortcut.link);
  const auto isName = [](const stringEx& path) { return path.empty() || !PathForSystem(path).empty(); };
  if (!isName(shortcut.target) || !isName(shortcut.workingDir)) return ENOENT;
  const stringEx script = ScriptOf(shortcut);
  IMPL::CDescriptor file;
  if (const int error = file.Open(AT_FDCWD, link.data(), O_WRONLY | O_CREAT | O_EXCL, 0777); error != 0)
    return error;
  std::uint64_t done = 0;
  int error = IMPL::WriteAll(file.Get(), script, done);
  const int closed = file.Close();
  if (error == 0) error = closed;
  if (error != 0) ::unlink(link.data());
  return error;
}

}  // namespace

void CDir::MakeHardLink(const stringEx& target, const stringEx& link) {
  if (target.empty() || link.empty())
    throw dirExp(stringEx::view("CDir::MakeHardLink - nothing to make"), dirCode::link);
  const stringEx from = PathForSystem(target);
  const stringEx to = PathForSystem(link);
  const int error = ErrnoOf([&] { return ::linkat(AT_FDCWD, from.data(), AT_FDCWD, to.data(), 0); });
  if (error != 0)
    Fail("CDir::MakeHardLink - failed create hard link\n", {target, link, {}, {}}, error, hardLinkTexts);
}

void CDir::MakeSymbolicLink(const stringEx& target, const stringEx& link, const stringEx& arguments,
                            const stringEx& workingDir) {
  if (target.empty() || link.empty())
    throw dirExp(stringEx::view("CDir::MakeSymbolicLink - nothing to make"), dirCode::link);
  const SHORTCUT shortcut{target, link, arguments, workingDir};
  if (!arguments.empty() || !workingDir.empty()) {
    if (const int error = WriteScript(shortcut); error != 0)
      Fail("CDir::MakeSymbolicLink - failed create shell script\n", shortcut, error, symbolicLinkTexts);
    return;
  }
  const stringEx from = PathForSystem(target);
  const stringEx to = PathForSystem(link);
  if (const int error = ErrnoOf([&] { return ::symlink(from.data(), to.data()); }); error != 0)
    Fail("CDir::MakeSymbolicLink - failed create symbolic link\n", shortcut, error, symbolicLinkTexts);
}

}  // namespace Qorv

// Directories and paths.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include <qorv/error.h>
#include <qorv/regex.h>
#include <qorv/string.h>

namespace Qorv {

/// What a path leads to.
namespace fileType {
inline constexpr std::uint32_t file = 0;
inline constexpr std::uint32_t directory = 1;
inline constexpr std::uint32_t other = 2;  ///< a device, a pipe, a socket
}  // namespace fileType

/// How CDir::BackupFile makes a backup.
namespace backupMode {
inline constexpr std::uint32_t move = 0;
inline constexpr std::uint32_t moveOver = 1;  ///< a backup of the same second is replaced
inline constexpr std::uint32_t copy = 2;
}  // namespace backupMode

/// Directory and path services. An object stands for one existing directory, which Open fixes.
///
/// Paths are bytes as the system takes them; wide ones are converted to the process's encoding, or to UTF-8 where that would
/// lose a letter. "~/" in front of a path stands for HOME,
/// where that is set. A path with a zero element names nothing that exists. Sizes are in bytes. All failures are dirExp
/// with a number of dirCode; besides them there is only std::bad_alloc.
///
/// Trees are walked by open directories, one or two for each level, never through a symbolic link: a link inside a tree is
/// itself what is listed, copied, moved or removed. What a failed operation on a tree has done stays done; its text says
/// where it stopped and how much that was. Trees nested deeper than 1024 are refused.
///
/// Without a lock: one object is used by one thread at a time. The static operations may be called by any thread; the
/// working directory and the environment belong to the process.
class CDir {
 public:
  /// What GetStorageTopology tells of a volume, in bytes.
  struct TOPOLOGY {
    std::uint32_t sectorSize = 0;
  };
  /// Room of a volume, in bytes.
  struct SPACEINFO {
    std::uint64_t total = 0;
    std::uint64_t free = 0;
    std::uint64_t available = 0;  ///< what of the free room an ordinary user may take
  };
  struct ATTRIBUTES {
    std::uint32_t type = fileType::file;
    std::uint32_t permissions = 0;  ///< the twelve permission bits of the system
    std::uint64_t size = 0;
  };

  /// Makes `path` absolute in place: "~/" is expanded from HOME, where that is set, and a relative path is
  /// joined to the working directory. Nothing else of it changes. Code 1: an empty path, a working directory
  /// that is gone.
  static void ConvToFullPath(stringEx& path);
  /// The same of a wide path.
  static stringEx ConvToFullPath(const wstringEx& path);
  /// The directory part without the slash at its end, back slashes turned into slashes: "." where there is none. A path
  /// of an existing directory yields itself. Code 1 for an empty path.
  static stringEx GetPathDir(const stringEx& path);
  /// The part behind the last slash; empty for an existing directory. Code 1 for an empty path.
  static stringEx GetPathFilename(const stringEx& path);
  /// The mount point that holds `path`, links in it followed. The path need not exist: its nearest existing parent
  /// counts. Where the system's table of volumes does not have it, or is cut, the top of the path's device. Code 1.
  static stringEx GetPathVolume(const stringEx& path);
  /// The working directory. Code 1.
  static stringEx GetPwd();
  static void SetPwd(const stringEx& path);
  /// The path of the first file of this name in the directories of PATH, where an empty one is the working directory.
  /// Code 1 for an empty name, or if there is none.
  static stringEx FindInPath(const stringEx& name);
  /// The system's directory for temporary files: TMPDIR as it is given, if that is not empty, or a path with a slash at
  /// its end.
  static stringEx GetSysTempDir();

  /// Makes the object stand for an existing directory. On failure, code 3, it stays as it was.
  void Open(const stringEx& path);
  void Open(const wstringEx& path);
  /// Absolute; empty before Open.
  const stringEx& GetPath() const noexcept { return path_; }

  /// Makes a directory; with `recursive` the missing ones above it too, and one that exists already is success. Code 4.
  static void MakeDir(const stringEx& path, bool recursive = false);
  static void MakeDir(const wstringEx& path, bool recursive = false);
  /// Removes a directory with what `removeSubDirs` and `removeSubFiles` say; a directory that has anything else is left
  /// alone. A link to a directory, and a path that ends in "." or "..", are refused. Code 5.
  static void RemoveDir(const stringEx& path, bool removeSubDirs = false, bool removeSubFiles = false);
  static void RemoveDir(const wstringEx& path, bool removeSubDirs = false, bool removeSubFiles = false);
  /// Of a link the link itself. Code 5.
  static void RemoveFile(const stringEx& path);
  static void RemoveFile(const wstringEx& path);

  /// Copies a regular file with its permission bits; those that lend the owner's rights only if the copy has the same
  /// owner. Links in the paths are followed. A target that exists is refused, or with `overwrite` overwritten, but never
  /// by the file itself. A failed copy is taken away; one over an older file stays as far as it got. Code 6.
  static void DuplicateFile(const stringEx& from, const stringEx& to, bool overwrite = false);
  /// Gives the file another path, which must not exist. Across file systems, if that is allowed, it is copied and the
  /// source removed; a link is moved as a link. If the source cannot be removed the target is taken away. Code 7.
  static void TransferFile(const stringEx& from, const stringEx& to, bool allowCopyDelete = true);
  /// Copies a tree into `to`, which is made if it does not exist, in an existing directory. Files that exist there
  /// are refused, or with `overwrite` overwritten; directories are shared. Links and special files are copied as such,
  /// permission bits as by DuplicateFile. A target inside the source is refused. What vanishes or changes its kind
  /// under the copying ends it. Code 6.
  static void DuplicateDir(const stringEx& from, const stringEx& to, bool overwrite = false);
  /// Gives the tree another path, which may be an empty directory or not exist. Across file systems, if that is allowed,
  /// each part is copied and then removed from the source: the two together always have all of it. Code 7.
  static void TransferDir(const stringEx& from, const stringEx& to, bool allowCopyDelete = true);

  /// Makes `link` another name of the file `target`; of a link, the link itself. Code 8.
  static void MakeHardLink(const stringEx& target, const stringEx& link);
  /// Makes `link` lead to `target`, which need not exist and is kept as it is given. With arguments, text as the shell
  /// reads it, or a working folder, `link` becomes a shell script that runs `target` there, with these arguments and its
  /// own. Code 8.
  static void MakeSymbolicLink(const stringEx& target, const stringEx& link, const stringEx& arguments = {},
                               const stringEx& workingDir = {});

  /// Of what a link leads to. Code 9.
  static ATTRIBUTES GetAttributes(const stringEx& path);
  /// Sets the permission bits; type and size are not looked at. Code 9.
  static void SetAttributes(const stringEx& path, const ATTRIBUTES& attributes);
  /// Room of the volume that holds `path`, any existing path on it. Code 2.
  static SPACEINFO GetSpaceInfo(const stringEx& path);
  /// The layout of the volume that holds `volume`, any existing path on it. Where no block device stands
  /// behind the volume the sector size is its smallest unit of allocation. Code 2.
  static TOPOLOGY GetStorageTopology(const stringEx& volume);

  /// The whole content of a regular file, or making or emptying one and writing all of it. Code 10.
  static stringEx ReadFile(const stringEx& path);
  static void WriteFile(const stringEx& path, std::string_view content);

  /// Names in the directory `dir` that fit `wildcard` whole, in the order of their bytes: '?' is any byte, '*' any run of
  /// them, and a back slash takes the meaning from what follows it. With `recursive` also those below it, as paths from
  /// `dir` on; the pattern says nothing about the directories that are entered. Subdirectories, or whatever else there is:
  /// a link counts as what it leads to, and is not entered. Code 11.
  static std::vector<stringEx> GetAllFiles(const stringEx& dir, const stringEx& wildcard = "*"_sv,
                                           bool recursive = false);
  static std::vector<stringEx> GetAllSubDirs(const stringEx& dir, const stringEx& wildcard = "*"_sv,
                                             bool recursive = false);
  /// The same with names in which the expression is found; a text is compiled by stringEx::compile_regex. Code 11 also
  /// for an empty or invalid expression.
  static std::vector<stringEx> GetAllFilesRegEx(const stringEx& dir, const regexHandle& regex,
                                                bool recursive = false);
  static std::vector<stringEx> GetAllFilesRegEx(const stringEx& dir, const stringEx& pattern,
                                                bool recursive = false);
  static std::vector<stringEx> GetAllSubDirsRegEx(const stringEx& dir, const regexHandle& regex,
                                                  bool recursive = false);
  static std::vector<stringEx> GetAllSubDirsRegEx(const stringEx& dir, const stringEx& pattern,
                                                  bool recursive = false);

  /// The path of a new file or directory with a name of its own, `prefix` in front of it and ".tmp" at its end: it exists
  /// and is empty, and only its owner may use it. In the object's directory, or in GetSysTempDir. Code 12.
  stringEx GenTempFileName(const stringEx& prefix = {}) const;
  stringEx GenTempSubDir(const stringEx& prefix = {}) const;
  static stringEx GenTempFileNameInSysTempDir(const stringEx& prefix = {});

  /// Backs the file up beside itself, under its name with "@" and the present time in front of the extension, and returns
  /// the path of the backup. `mode` is of backupMode; any above is a copy. Of all backups of the file the `keep` newest
  /// stay, all if that is below 1; what cannot be removed is logged. Failures are those of TransferFile and
  /// DuplicateFile.
  static stringEx BackupFile(const stringEx& path, std::uint32_t mode, std::int32_t keep);
  /// Copies the newest backup back over the file. False if there is none, or, logged, if that fails.
  static bool RestoreFile(const stringEx& path);

 private:
  stringEx path_;
};

}  // namespace Qorv

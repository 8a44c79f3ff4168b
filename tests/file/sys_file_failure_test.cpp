// Every failure of a file, with its class, its code and its whole text.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>

#include <gtest/gtest.h>

#include <qorv/file.h>

#include "file/temp_folder.h"
#include "support/failure.h"
#include "support/row_name.h"

namespace {

using Qorv::CSysFile;
using TestSupport::Text;

struct Scene : TestSupport::TempFolder {
  CSysFile file;
  CSysFile other;

  void Open(const std::string& path, int access, int create = 0, std::uint32_t share = 0,
            std::uint32_t options = 0) {
    file.Open(Text(path), access, create, share, 0600, options);
  }
  std::string Fifo() {
    mkfifo(Path("fifo").c_str(), 0600);
    return Path("fifo");
  }
  void Lock(std::uint32_t share) { other.Open(Text(Make("locked", "x")), O_RDWR, 0, share, 0, 0); }
  void Read() {
    char byte;
    file.Read(&byte, 1);
  }
  void Write() { file.Write("x", 1); }
};

struct FailureRow {
  const char* name;
  void (*step)(Scene&);
  const char* expected;
};

const FailureRow failures[] = {
    {"OpenNothing", [](Scene& s) { s.Open("", O_RDONLY); },
     "4: CSysFile::Open - failed determine the file path to open\n  file name  = \n"
     "@ CDir::ConvToFullPath - nothing to convert"},
    {"OpenMissing", [](Scene& s) { s.Open(s.Path("none"), O_RDONLY); },
     "4: CSysFile/PosixOpenFile - failed open specified file\n  file path  = {}/none\n  error code = 2\n"
     "  error desc = file dose not exists or can't be created"},
    {"OpenMissingDirect", [](Scene& s) { s.Open(s.Path("none"), O_RDONLY, 0, 0, 1); },
     "4: CSysFile/PosixOpenFile - failed open specified file\n  file path  = {}/none\n  error code = 2\n"
     "  error desc = file dose not exists or can't be created"},
    {"OpenRawNothing", [](Scene& s) { s.file.OpenRaw(Qorv::stringEx(), O_RDONLY, 0, 0, 0, 0); },
     "4: CSysFile/PosixOpenFile - failed open specified file\n  file path  = \n  error code = 2\n"
     "  error desc = file dose not exists or can't be created"},
    {"CreateExisting", [](Scene& s) { s.Open(s.Make("there", ""), O_WRONLY, O_CREAT | O_EXCL); },
     "4: CSysFile/PosixOpenFile - failed open specified file\n  file path  = {}/there\n  error code = 17\n"
     "  error desc = file already exists"},
    {"OpenBelowFile", [](Scene& s) { s.Open(s.Make("there", "") + "/x", O_RDONLY); },
     "4: CSysFile/PosixOpenFile - failed open specified file\n  file path  = {}/there/x\n  error code = 20\n"
     "  error desc = path is not a directory"},
    {"WriteToFolder", [](Scene& s) { s.Open(s.Path(), O_WRONLY); },
     "4: CSysFile/PosixOpenFile - failed open specified file\n  file path  = {}\n  error code = 21\n"
     "  error desc = the file is a directory and write permission is specified"},
    {"OpenLoop",
     [](Scene& s) {
       std::filesystem::create_symlink("loop", s.Path("loop"));
       s.Open(s.Path("loop"), O_RDONLY);
     },
     "4: CSysFile/PosixOpenFile - failed open specified file\n  file path  = {}/loop\n  error code = 40\n"
     "  error desc = a loop exists in symbolic links, or too many level of links"},
    {"FifoWithoutReader", [](Scene& s) { s.Open(s.Fifo(), O_WRONLY | O_NONBLOCK); },
     "4: CSysFile/PosixOpenFile - failed open specified file\n  file path  = {}/fifo\n  error code = 6\n  "
     "error desc = "
     "the device associated with this special file does not exist, or fifo opened without reading peer"},
    {"SharedAgainstExclusive",
     [](Scene& s) {
       s.Lock(2);
       s.Open(s.Path("locked"), O_RDONLY, 0, 1);
     },
     "4: CSysFile/SetShareMode - failed set file sharing mode\n  file path    = {}/locked\n  sharing mode = "
     "shared\n"
     "  error code   = 11\n  error desc   = sharing mode conflict"},
    {"ExclusiveAgainstShared",
     [](Scene& s) {
       s.Lock(1);
       s.Open(s.Path("locked"), O_RDONLY, 0, 2);
     },
     "4: CSysFile/SetShareMode - failed set file sharing mode\n  file path    = {}/locked\n"
     "  sharing mode = exclusive\n  error code   = 11\n  error desc   = sharing mode conflict"},
    {"ReadClosed", [](Scene& s) { s.Read(); },
     "7: CSysFile::Read - failed reading file\n  file path  = \n  error code = 9\n"
     "  error desc = invalid file descriptor"},
    {"ReadFolder",
     [](Scene& s) {
       s.Open(s.Path(), O_RDONLY);
       s.Read();
     },
     "7: CSysFile::Read - failed reading file\n  file path  = {}\n  error code = 21\n"
     "  error desc = the file refers to a directory"},
    {"ReadWithoutWaiting",
     [](Scene& s) {
       s.Open(s.Fifo(), O_RDWR | O_NONBLOCK);
       s.Read();
     },
     "7: CSysFile::Read - failed reading file\n  file path  = {}/fifo\n  error code = 11\n"
     "  error desc = the thread would be delayed in non block mode"},
    {"ReadBadPlace",  // the first page of an address space is never there
     [](Scene& s) {
       s.Open("/proc/self/mem", O_RDONLY);
       s.Read();
     },
     "7: CSysFile::Read - failed reading file\n  file path  = /proc/self/mem\n  error code = 5\n  error desc "
     "= "
     "physical io error, or background process attempt to read from console terminal"},
    {"WriteFull",
     [](Scene& s) {
       s.Open("/dev/full", O_WRONLY);
       s.Write();
     },
     "9: CSysFile::Write - failed writing file\n  file path  = /dev/full\n  error code = 28\n"
     "  error desc = there was no free space remaining on the device containing the file"},
    {"WriteToReadOnly",
     [](Scene& s) {
       s.Open(s.Make("there", ""), O_RDONLY);
       s.Write();
     },
     "9: CSysFile::Write - failed writing file\n  file path  = {}/there\n  error code = 9\n"
     "  error desc = invalid file descriptor"},
    {"WriteBeyondLimit",
     [](Scene& s) {
       s.Open(s.Path("large"), O_WRONLY, O_CREAT);
       rlimit before;
       getrlimit(RLIMIT_FSIZE, &before);
       const rlimit tight{0, before.rlim_max};
       setrlimit(RLIMIT_FSIZE, &tight);
       const struct Restore {
         const rlimit& limit;
         ~Restore() { setrlimit(RLIMIT_FSIZE, &limit); }
       } restore{before};
       s.Write();
     },
     "9: CSysFile::Write - failed writing file\n  file path  = {}/large\n  error code = 27\n"
     "  error desc = no room for write, or offset out-of-range"},
    {"WriteBrokenPipe",
     [](Scene& s) {
       s.other.Open(Text(s.Fifo()), O_RDONLY | O_NONBLOCK, 0, 0, 0, 0);
       s.Open(s.Path("fifo"), O_WRONLY);
       s.other = CSysFile();
       s.Write();
     },
     "34: CSysFile::Write - failed writing file\n  file path  = {}/fifo\n  error code = 32\n"
     "  error desc = error writing pipe, pipe has been broken"},
    {"SeekBelowZero",
     [](Scene& s) {
       s.Open(s.Make("there", ""), O_RDONLY);
       s.file.SeekBegin(-1);
     },
     "13: CSysFile::SeekBegin - failed seeking in file\n  file path = {}/there\n"
     "@ CSysFile/PosixSeekFile - error seek file pointer\n  sys error  = 22\n"
     "  error desc = invalide argument, or the resulting file offset would be negative for the file"},
    {"SeekClosed", [](Scene& s) { s.file.SeekBegin(0); },
     "13: CSysFile::SeekBegin - failed seeking in file\n  file path = \n"
     "@ CSysFile/PosixSeekFile - error seek file pointer\n  sys error  = 9\n  error desc = invalid file "
     "descriptor"},
    {"SizeOfFifo",
     [](Scene& s) {
       s.Open(s.Fifo(), O_RDWR);
       s.file.GetSize();
     },
     "17: CSysFile::GetSize - failed retrive file size\n  file path = {}/fifo\n"
     "@ CSysFile/PosixSeekFile - error seek file pointer\n  sys error  = 29\n"
     "  error desc = the fildes argument is associated with a pipe, fifo, or socket"},
    {"SectorOfNoDisk",
     [](Scene& s) {
       std::uint32_t sector;
       s.Open("/dev/null", O_RDONLY);
       s.file.GetStorageInfo(&sector, nullptr);
     },
     "35: CSysFile::GetStorageInfo - error retrive physical device info\n  error code = 25\n"
     "  error desc = Inappropriate ioctl for device"},
    {"SectorOfClosed",
     [](Scene& s) {
       std::uint32_t sector;
       s.file.GetStorageInfo(&sector, nullptr);
     },
     "35: CSysFile::GetStorageInfo - error retrive volume info\n@ CDir::GetPathVolume - path is empty"},
    {"CloseTwice",
     [](Scene& s) {
       s.Open(s.Make("there", ""), O_RDONLY);
       close(static_cast<int>(s.file.GetSysHandle()));
       s.file = CSysFile();
     },
     "6: CSysFile::__Close - error close file descriptor\n  sys error  = 9\n  error desc = invalid file "
     "descriptor"},
};

class SysFileFailure : public testing::TestWithParam<FailureRow> {};

TEST_P(SysFileFailure, IsReportedInFull) {
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  Scene scene;
  EXPECT_EQ(scene.Fill(GetParam().expected),
            TestSupport::FailureOf<Qorv::sysfileExp>([&] { GetParam().step(scene); }));
}

INSTANTIATE_TEST_SUITE_P(Every, SysFileFailure, testing::ValuesIn(failures), rowName);

}  // namespace

// A log in files of one day each, of which the last seven are kept.
#include <cstdio>

#include <qorv/file.h>
#include <qorv/log.h>
#include <qorv/loggers.h>

using namespace Qorv;

int main() {
  const stringEx folder = CDir::GenTempFileNameInSysTempDir("example-"_sv) + ".d";
  CDir::MakeDir(folder);
  {
    CPeriodSysFile file(filePeriod::day, 7, folder + "/run_", stringEx(".log"));
    CLog log(logLevel::info, 2048);
    log.PushLogger(MakeHandle<CPeriodFileLogger<CPeriodSysFile>>(file));
    log.Info("example"_sv, "the first line of the day"_sv);
    log.Warning("example", "and one with numbers: %d", 7);
    log.Flush();
  }
  for (const stringEx& name : CDir::GetAllFiles(folder))
    std::printf("%s:\n%s", name.data(), CDir::ReadFile(folder + "/" + name).data());
  CDir::RemoveDir(folder, true, true);
}

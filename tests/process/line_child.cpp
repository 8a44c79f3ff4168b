// Writes its own command line, as the library reads it, to standard output.
#include <unistd.h>

#include <qorv/process.h>

int main() {
  Qorv::stringEx line;
  Qorv::CProcess::GetCommandLine(line);
  return ::write(STDOUT_FILENO, line.data(), line.length()) < 0 ? 1 : 0;
}

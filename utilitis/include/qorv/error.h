// The exception classes of the library and the numbers they carry.
//
// Every failure of the library is an exception of one tree with the root qvExp. The tree stands apart from
// std::exception: a handler for the standard class does not see it. The one failure that is not of this tree
// is exhausted memory, which stays std::bad_alloc.
#pragma once

#include <cstdint>
#include <exception>
#include <utility>

#include <qorv/string.h>

namespace Qorv {

/// What every failure of the library carries: a whole readable report and a number that says what failed.
///
/// The report has a heading that names class and operation, fields of the form "  name = value" one to a
/// line, and, where a lower layer failed first, "@ " and the report of that layer, so that it reads from the
/// outermost failure inward. It has no line break at its end. Numbers are unique within a class family only;
/// they stand as constants below.
///
/// Copying shares the report's buffer and never throws. A const object may be read from many threads.
class qvExp {
 public:
  qvExp(stringEx message, std::uint32_t code) noexcept : message_(std::move(message)), code_(code) {}
  qvExp(const qvExp&) noexcept = default;
  qvExp& operator=(const qvExp&) noexcept = default;
  virtual ~qvExp() = default;

  const stringEx& GetMessage() const noexcept { return message_; }
  std::uint32_t GetCode() const noexcept { return code_; }

 private:
  stringEx message_;
  std::uint32_t code_;
};

class utilExp : public qvExp {
  using qvExp::qvExp;
};

class syssrvExp : public utilExp {
  using utilExp::utilExp;
};
class threadExp : public syssrvExp {
  using syssrvExp::syssrvExp;
};
class tconvExp : public syssrvExp {
  using syssrvExp::syssrvExp;
};
class libiconvExp : public tconvExp {
  using tconvExp::tconvExp;
};
class libicuExp : public tconvExp {
  using tconvExp::tconvExp;
};
class tlsExp : public syssrvExp {
  using syssrvExp::syssrvExp;
};
class dlllExp : public syssrvExp {
  using syssrvExp::syssrvExp;
};
class procExp : public syssrvExp {
  using syssrvExp::syssrvExp;
};
class regExp : public syssrvExp {
  using syssrvExp::syssrvExp;
};
class timeExp : public syssrvExp {
  using syssrvExp::syssrvExp;
};

class ioExp : public utilExp {
  using utilExp::utilExp;
};
class fileExp : public ioExp {
  using ioExp::ioExp;
};
class sysfileExp : public fileExp {
  using fileExp::fileExp;
};
class pipeExp : public sysfileExp {
  using sysfileExp::sysfileExp;
};
class fmppExp : public fileExp {
  using fileExp::fileExp;
};
class cfileExp : public fileExp {
  using fileExp::fileExp;
};
class isxfExp : public ioExp {
  using ioExp::ioExp;
};
class dirExp : public ioExp {
  using ioExp::ioExp;
};
class shmemExp : public ioExp {
  using ioExp::ioExp;
};

class syncExp : public utilExp {
  using utilExp::utilExp;
};
class rwlExp : public syncExp {
  using syncExp::syncExp;
};
class eventExp : public syncExp {
  using syncExp::syncExp;
};
class mutexExp : public syncExp {
  using syncExp::syncExp;
};
class semExp : public syncExp {
  using syncExp::syncExp;
};

class auxExp : public utilExp {
  using utilExp::utilExp;
};
class logExp : public auxExp {
  using auxExp::auxExp;
};
class csvExp : public auxExp {
  using auxExp::auxExp;
};

/// Numbers of fileExp, sysfileExp, cfileExp, fmppExp and pipeExp: the step that failed.
namespace fileCode {
inline constexpr std::uint32_t pipe = 3;
inline constexpr std::uint32_t open = 4;
inline constexpr std::uint32_t close = 6;
inline constexpr std::uint32_t read = 7;
inline constexpr std::uint32_t write = 9;
inline constexpr std::uint32_t unsupported = 11;
inline constexpr std::uint32_t pushBack = 12;
inline constexpr std::uint32_t seek = 13;
inline constexpr std::uint32_t position = 14;
inline constexpr std::uint32_t flush = 15;
inline constexpr std::uint32_t streamBuffer = 16;
inline constexpr std::uint32_t size = 17;
inline constexpr std::uint32_t getTime = 18;
inline constexpr std::uint32_t setTime = 19;
inline constexpr std::uint32_t lock = 20;
inline constexpr std::uint32_t unlock = 22;
inline constexpr std::uint32_t resize = 23;
inline constexpr std::uint32_t openMapping = 25;
inline constexpr std::uint32_t createMapping = 26;
inline constexpr std::uint32_t createView = 27;
inline constexpr std::uint32_t releaseView = 28;
inline constexpr std::uint32_t closeMapping = 29;
inline constexpr std::uint32_t flushView = 30;
inline constexpr std::uint32_t mappingName = 31;
inline constexpr std::uint32_t brokenPipe = 34;
inline constexpr std::uint32_t control = 35;  ///< a device control request, GetStorageInfo among them
inline constexpr std::uint32_t duplicate = 36;
inline constexpr std::uint32_t disclaim = 37;
}  // namespace fileCode

/// Numbers of threadExp.
namespace threadCode {
inline constexpr std::uint32_t create = 1;
inline constexpr std::uint32_t alreadyCreated = 2;
inline constexpr std::uint32_t invalidState = 3;
inline constexpr std::uint32_t noThread = 4;
inline constexpr std::uint32_t kill = 8;
inline constexpr std::uint32_t getScheduling = 12;
inline constexpr std::uint32_t setScheduling = 13;
inline constexpr std::uint32_t times = 18;
}  // namespace threadCode

/// Numbers of mutexExp, eventExp and semExp.
namespace syncCode {
inline constexpr std::uint32_t create = 1;
inline constexpr std::uint32_t openNamed = 2;
inline constexpr std::uint32_t destroy = 3;
inline constexpr std::uint32_t wait = 4;    ///< locking a mutex, waiting for an event or a semaphore
inline constexpr std::uint32_t unlock = 5;  ///< mutexExp only
inline constexpr std::uint32_t signal = 7;  ///< eventExp only
}  // namespace syncCode

/// Numbers of procExp.
namespace procCode {
inline constexpr std::uint32_t general = 0;
}  // namespace procCode

/// Numbers of tlsExp.
namespace tlsCode {
inline constexpr std::uint32_t create = 1;
inline constexpr std::uint32_t set = 3;
inline constexpr std::uint32_t destroy = 4;
}  // namespace tlsCode

/// Numbers of tconvExp and the classes below it.
namespace tconvCode {
inline constexpr std::uint32_t unknown = 1;  ///< an encoding that is not known
inline constexpr std::uint32_t load = 2;     ///< a library that cannot be used
inline constexpr std::uint32_t open = 3;     ///< an encoding that the library does not serve
inline constexpr std::uint32_t convert = 4;
}  // namespace tconvCode

/// Numbers of dlllExp.
namespace dlllCode {
inline constexpr std::uint32_t load = 1;
inline constexpr std::uint32_t symbol = 2;
inline constexpr std::uint32_t unload = 3;
}  // namespace dlllCode

/// Numbers of rwlExp.
namespace rwlCode {
inline constexpr std::uint32_t indexExhausted = 1;
inline constexpr std::uint32_t refusedUpgrade = 10;
}  // namespace rwlCode

/// Numbers of isxfExp.
namespace isxfCode {
inline constexpr std::uint32_t wrongTag = 1;  ///< another item than was asked for, or void where none may be
inline constexpr std::uint32_t bound = 2;     ///< the object's bound, or the size of a caller's buffer
inline constexpr std::uint32_t unknownTag = 3;  ///< a tag that stands for no item
inline constexpr std::uint32_t broken = 4;      ///< an item that is cut short, or cannot be what its tag says
}  // namespace isxfCode

/// Numbers of dirExp.
namespace dirCode {
inline constexpr std::uint32_t path = 1;     ///< a path could not be made absolute or taken apart
inline constexpr std::uint32_t storage = 2;  ///< a volume's layout or room could not be had
inline constexpr std::uint32_t open = 3;
inline constexpr std::uint32_t make = 4;
inline constexpr std::uint32_t remove = 5;
inline constexpr std::uint32_t duplicate = 6;
inline constexpr std::uint32_t transfer = 7;
inline constexpr std::uint32_t link = 8;
inline constexpr std::uint32_t attributes = 9;
inline constexpr std::uint32_t content = 10;  ///< reading or writing a whole file
inline constexpr std::uint32_t find = 11;
inline constexpr std::uint32_t tempName = 12;
}  // namespace dirCode

/// Numbers of regExp.
namespace regCode {
inline constexpr std::uint32_t invalidObject = 1;    ///< a handle without a key
inline constexpr std::uint32_t invalidArgument = 2;  ///< an index out of range among them
inline constexpr std::uint32_t damaged = 3;          ///< an image, a diff or a stored type
inline constexpr std::uint32_t emptyList = 4;        ///< the first or last of nothing
inline constexpr std::uint32_t open = 5;
inline constexpr std::uint32_t save = 6;
inline constexpr std::uint32_t notEmpty = 9;
inline constexpr std::uint32_t typeMismatch = 12;
inline constexpr std::uint32_t exportText = 18;
inline constexpr std::uint32_t importText = 19;
inline constexpr std::uint32_t notFound = 20;
inline constexpr std::uint32_t circular = 22;
}  // namespace regCode

/// Numbers of timeExp.
namespace timeCode {
inline constexpr std::uint32_t setSystemTime = 1;
inline constexpr std::uint32_t invalidMonth = 3;
}  // namespace timeCode

/// Numbers of logExp.
namespace logCode {
inline constexpr std::uint32_t noLogger = 1;
inline constexpr std::uint32_t invalidLogger = 5;
}  // namespace logCode

/// Numbers of csvExp.
namespace csvCode {
inline constexpr std::uint32_t brokenField =
    1;  ///< a quoted field without its end, or with something behind it
inline constexpr std::uint32_t unknownState = 4;  ///< of the parser
inline constexpr std::uint32_t rowQuota = 5;
}  // namespace csvCode

/// Numbers of utilExp itself.
namespace utilCode {
inline constexpr std::uint32_t outOfRange = 1;
}  // namespace utilCode

namespace IMPL {

/// Runs `step`, which may throw. While another exception is unwinding the stack, a failure of `step` is
/// dropped, since two at once would end the process; otherwise it passes on. For work done inside
/// destructors.
template <class Step>
void DropWhileUnwinding(Step&& step) {
  try {
    std::forward<Step>(step)();
  } catch (...) {
    if (std::uncaught_exceptions() == 0) throw;  // this one is caught, and so does not count
  }
}

}  // namespace IMPL
}  // namespace Qorv

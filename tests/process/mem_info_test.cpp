// Memory figures of the machine that runs the test.
#include <gtest/gtest.h>
#include <unistd.h>

#include <qorv/process.h>

namespace {

constexpr std::uint64_t untouched = 12345;

TEST(SysMemInfo, FiguresFitTogether) {
  std::uint64_t totalPhys = untouched, freePhys = untouched, totalVirt = untouched, freeVirt = untouched;
  Qorv::CProcess::GetSysMemInfo(&totalPhys, &freePhys, &totalVirt, &freeVirt);
  const auto pages = static_cast<std::uint64_t>(sysconf(_SC_PHYS_PAGES));
  EXPECT_GE(pages * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE)), totalPhys);
  EXPECT_GT(totalPhys, 0U);
  EXPECT_GE(totalPhys, freePhys);
  EXPECT_GE(totalVirt, totalPhys);
  EXPECT_GE(totalVirt, freeVirt);
}

TEST(SysMemInfo, EachFigureMayBeAskedAlone) {
  for (int wanted = 0; wanted < 4; ++wanted) {
    std::uint64_t figures[4] = {untouched, untouched, untouched, untouched};
    const auto pointer = [&](int index) { return index == wanted ? &figures[index] : nullptr; };
    Qorv::CProcess::GetSysMemInfo(pointer(0), pointer(1), pointer(2), pointer(3));
    EXPECT_NE(untouched, figures[wanted]) << wanted;
  }
  Qorv::CProcess::GetSysMemInfo(nullptr, nullptr, nullptr, nullptr);
}

}  // namespace

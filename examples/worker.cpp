// A worker that takes numbers from a bounded queue until it is told that there are no more.
#include <cstdint>
#include <cstdio>
#include <deque>

#include <qorv/misc.h>
#include <qorv/sync.h>
#include <qorv/thread.h>

using namespace Qorv;

using NUMBERS = CMessageQueue<std::uint64_t, FASTKSV_PCLOCK, std::deque<std::uint64_t>>;

class CAdder : public TThread {
 public:
  explicit CAdder(NUMBERS& numbers) : numbers_(numbers) {}
  ~CAdder() noexcept(false) override = default;
  std::uint64_t GetSum() const { return sum_; }

 protected:
  std::uint32_t Run() override {
    std::uint64_t number = 0;
    while (numbers_.Pop(number), number != 0)
      sum_ += number;
    return 0;
  }

 private:
  NUMBERS& numbers_;
  std::uint64_t sum_ = 0;
};

int main() {
  NUMBERS numbers(16);
  CAdder adder(numbers);
  adder.Create(false, 0);
  adder.Resume();
  for (std::uint64_t i = 1000; i > 0; --i)
    numbers.Push(i);
  numbers.Push(0);
  adder.Wait(waitForever);
  std::printf("%llu\n", static_cast<unsigned long long>(adder.GetSum()));
  return adder.GetSum() == 500500 ? 0 : 1;
}

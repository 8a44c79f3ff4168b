// A user of the installed library: a thread that pushes through a queue, so that threads and locks are
// linked.
#include <cstdint>
#include <cstdio>
#include <deque>

#include <qorv/string.h>
#include <qorv/sync.h>
#include <qorv/thread.h>

namespace {

using Queue = Qorv::CMessageQueue<Qorv::stringEx, Qorv::FASTKSV_PCLOCK, std::deque<Qorv::stringEx>>;

class CGreeter : public Qorv::TThread {
 public:
  explicit CGreeter(Queue& queue) : queue_(queue) {}

 private:
  std::uint32_t Run() override {
    queue_.Push("hello");
    return 0;
  }

  Queue& queue_;
};

}  // namespace

int main() {
  Queue queue(1);
  CGreeter greeter(queue);
  greeter.Create(false, 0);
  greeter.Resume();
  Qorv::stringEx word;
  queue.Pop(word);
  greeter.Wait(Qorv::waitForever);
  std::puts(word.data());
  return word == "hello" ? 0 : 1;
}

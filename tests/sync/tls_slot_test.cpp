// Slots of one thread.
#include <gtest/gtest.h>

#include <pthread.h>

#include <cerrno>
#include <thread>

#include <qorv/sync.h>

#include "support/failure.h"
#include "support/refusal.h"
#include "support/row_name.h"

REFUSABLE(pthread_key_create, (pthread_key_t * key, void (*end)(void*)), (key, end))
REFUSABLE(pthread_key_delete, (pthread_key_t key), (key))
REFUSABLE(pthread_setspecific, (pthread_key_t key, const void* value), (key, value))

namespace {

using Qorv::CTlsSlot;
using Qorv::tlsExp;
using TestSupport::FailureOf;
using TestSupport::Refuse;

struct RefusalRow {
  const char* name;
  const char* call;
  int error;
  const char* failure;
};

const RefusalRow refusalRows[] = {
    {"NoMemory", "pthread_key_create", ENOMEM,
     "1: CTlsSlot::CTlsSlot - error create TLS Slot\n  error code = 12\n  error desc = insufficient memory"},
    {"NoKey", "pthread_key_create", EAGAIN,
     "1: CTlsSlot::CTlsSlot - error create TLS Slot\n  error code = 11\n"
     "  error desc = no necessary resources or process limit reached"},
    {"NoKeyForAnUnknownReason", "pthread_key_create", EPERM,
     "1: CTlsSlot::CTlsSlot - error create TLS Slot\n  error code = 1\n  error desc = unknown system error"},
    {"SetWithoutMemory", "pthread_setspecific", ENOMEM, "3: CTlsSlot::SetValue - error set TLS Slot"},
    {"BadKey", "pthread_key_delete", EINVAL,
     "4: CTlsSlot::~CTlsSlot - error release TLS Slot\n  error code = 22\n"
     "  error desc = the handle (key) value is invalid"},
    {"BadKeyForAnUnknownReason", "pthread_key_delete", EBUSY,
     "4: CTlsSlot::~CTlsSlot - error release TLS Slot\n  error code = 16\n  error desc = unknown system "
     "error"},
};

class SlotRefused : public testing::TestWithParam<RefusalRow> {};

TEST_P(SlotRefused, IsTold) {
  Refuse(GetParam().call, GetParam().error);
  EXPECT_EQ(FailureOf<tlsExp>([] {
              CTlsSlot slot;
              slot.SetValue(&slot);
            }),
            GetParam().failure);
}

INSTANTIATE_TEST_SUITE_P(CTlsSlot, SlotRefused, testing::ValuesIn(refusalRows), rowName);

TEST(CTlsSlot, DropsTheFailureOfItsEndWhileAnotherUnwinds) {
  Refuse("pthread_key_delete", EINVAL);
  EXPECT_THROW(
      {
        CTlsSlot slot;
        throw 1;
      },
      int);
}

TEST(CTlsSlot, HoldsWhatTheThreadItselfHasSet) {
  int first = 0;
  int second = 0;
  CTlsSlot slot;
  CTlsSlot other;
  slot.SetValue(&first);
  other.SetValue(&second);
  std::thread([&] {
    EXPECT_EQ(slot.GetValue(), nullptr);
    slot.SetValue(&second);
    EXPECT_EQ(slot.GetValue(), &second);
  }).join();
  EXPECT_EQ(slot.GetValue(), &first);
  EXPECT_EQ(other.GetValue(), &second);
}

}  // namespace

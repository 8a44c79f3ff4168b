#include <qorv/detail/tls_slot.h>

#include <cerrno>

#include "error/message.h"

namespace Qorv {
namespace {

constexpr IMPL::ErrnoText createTexts[] = {
    {ENOMEM, "insufficient memory"},
    {EAGAIN, "no necessary resources or process limit reached"},
};

constexpr IMPL::ErrnoText destroyTexts[] = {{EINVAL, "the handle (key) value is invalid"}};

// The words for other numbers are these alone, without the system's text.
void Check(int error, std::string_view heading, IMPL::ErrnoTable texts, std::uint32_t code) {
  if (error == 0) return;
  IMPL::CMessage(heading)
      .Field("  error code = ", error)
      .Field("  error desc = ", IMPL::FindErrno(texts, error, "unknown system error"))
      .Throw<tlsExp>(code);
}

}  // namespace

CTlsSlot::CTlsSlot() {
  Check(::pthread_key_create(&key_, nullptr), "CTlsSlot::CTlsSlot - error create TLS Slot\n", createTexts,
        tlsCode::create);
}

CTlsSlot::~CTlsSlot() noexcept(false) {
  const int error = ::pthread_key_delete(key_);
  IMPL::DropWhileUnwinding([=] {
    Check(error, "CTlsSlot::~CTlsSlot - error release TLS Slot\n", destroyTexts, tlsCode::destroy);
  });
}

void CTlsSlot::SetValue(void* value) {
  if (::pthread_setspecific(key_, value) == 0) return;
  throw tlsExp(stringEx::view("CTlsSlot::SetValue - error set TLS Slot"), tlsCode::set);
}

}  // namespace Qorv

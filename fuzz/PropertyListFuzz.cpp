#include <cstdlib>

#include "platform/files/PropertyList.h"

// Bytes give a list or an error. Whatever is read can be written, and reading that again gives the same list:
// its bytes no longer change.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  qw::Error error;
  const std::optional<qw::PropertyList> list = qw::PropertyList::read({bytes, size}, &error);
  if (list.has_value() == static_cast<bool>(error)) std::abort();
  if (!list) return 0;
  const std::optional<qw::Data> written = list->write();
  if (!written) std::abort();
  const std::optional<qw::PropertyList> again = qw::PropertyList::read(written->bytes());
  if (!again || again->size() != list->size()) std::abort();
  const std::optional<qw::Data> rewritten = again->write();
  if (!rewritten || !(*rewritten == *written)) std::abort();
  return 0;
}

#include "platform/files/RestorableState.h"

namespace qw {

bool encodeRestorableStateOfSubitem(KeyedArchiver& coder, const Restorable& subitem, std::string_view key,
                                    Error* error) {
  KeyedArchiver archiver;
  subitem.encodeRestorableState(archiver);
  const auto state = archiver.finish(error);
  if (state) coder.encodeBytes(state->bytes(), key);
  return state.has_value();
}

bool restoreStateOfSubitem(KeyedUnarchiver& coder, Restorable& subitem, std::string_view key,
                           const KeyedUnarchiver::Classes& classes, Error* error) {
  if (!coder.containsValueForKey(key)) return true;
  const Data state = coder.decodeBytes(key);
  const auto unarchiver = KeyedUnarchiver::open(state.bytes(), classes, error);
  if (!unarchiver) return false;
  subitem.restoreState(*unarchiver);
  return unarchiver->finish(error);
}

}  // namespace qw

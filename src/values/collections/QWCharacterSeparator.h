#pragma once

#include <string>
#include <string_view>

#include "platform/base/Export.h"
#include "values/collections/QWConstant.h"

/// A character that separates: the columns of a CSV file, the groups or the fraction of a number. `value` is
/// its code point.
class QW_EXPORT QWCharacterSeparator : public QWConstantOf<QWCharacterSeparator> {
 public:
  static const qw::Class kClass;

  /// None: the empty text.
  static Pointer noSeparator() { return constantWithName("NoSeparator"); }
  /// A blank.
  static Pointer spaceSeparator() { return constantWithName("SpaceSeparator"); }
  /// ".".
  static Pointer dotSeparator() { return constantWithName("DotSeparator"); }
  /// ",".
  static Pointer commaSeparator() { return constantWithName("CommaSeparator"); }
  /// The apostrophe.
  static Pointer quoteSeparator() { return constantWithName("QuoteSeparator"); }
  /// ";".
  static Pointer semicolonSeparator() { return constantWithName("SemicolonSeparator"); }
  /// The tab character.
  static Pointer tabSeparator() { return constantWithName("TabSeparator"); }

  /// The registered separator with that character, where a no-break space (U+00A0) counts as a blank;
  /// otherwise a new one outside the registry, named like its character and with the value -1. Never null.
  static Pointer constantWithCharacter(std::string_view character);

  /// One character as UTF-8, or empty.
  const std::string& character() const { return character_; }
  /// The name in the user's language, or the character itself for one outside the registry.
  std::string description() const override;
  void initWithCoder(qw::KeyedUnarchiver& coder) override;

  /// For the registry.
  static void addConstants(QWConstantsManager& manager);

 private:
  static Pointer make(std::string name, std::int64_t value, std::string_view character);

  std::string character_;
};

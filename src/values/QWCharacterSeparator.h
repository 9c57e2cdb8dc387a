#pragma once

#include <string>
#include <string_view>

#include "values/QWConstant.h"

/// A character that separates: the columns of a CSV file, the groups or the fraction of a number. `value` is
/// its code point.
class QWCharacterSeparator : public QWConstantOf<QWCharacterSeparator> {
 public:
  static const qw::Class kClass;

  static Pointer noSeparator() { return constantWithName("NoSeparator"); }
  static Pointer spaceSeparator() { return constantWithName("SpaceSeparator"); }
  static Pointer dotSeparator() { return constantWithName("DotSeparator"); }
  static Pointer commaSeparator() { return constantWithName("CommaSeparator"); }
  static Pointer quoteSeparator() { return constantWithName("QuoteSeparator"); }
  static Pointer semicolonSeparator() { return constantWithName("SemicolonSeparator"); }
  static Pointer tabSeparator() { return constantWithName("TabSeparator"); }

  /// The registered separator with that character, where a no-break space (U+00A0) counts as a blank;
  /// otherwise a new one outside the registry, named like its character and with the value -1. Never null.
  static Pointer constantWithCharacter(std::string_view character);

  /// One character as UTF-8, or empty.
  const std::string& character() const { return character_; }
  std::string description() const override;
  void initWithCoder(qw::KeyedUnarchiver& coder) override;

  static void addConstants(QWConstantsManager& manager);

 private:
  static Pointer make(std::string name, std::int64_t value, std::string_view character);

  std::string character_;
};

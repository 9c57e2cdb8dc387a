#pragma once

#include <string>

#include "platform/base/Export.h"
#include "values/collections/QWConstant.h"

/// No and Yes as objects, for choices and settings. There are exactly two, shared; by name they are also
/// found as "0" and "1".
class QW_EXPORT QWBoolean : public QWConstantOf<QWBoolean> {
 public:
  static const qw::Class kClass;

  /// "No", 0.
  static Pointer falseBoolean() { return constantWithValue(0); }
  /// "Yes", 1.
  static Pointer trueBoolean() { return constantWithValue(1); }
  /// "No" or "Yes" in the user's language.
  std::string description() const override;

  /// For the registry.
  static void addConstants(QWConstantsManager& manager);
};

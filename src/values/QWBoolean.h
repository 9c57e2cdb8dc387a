#pragma once

#include <string>

#include "values/QWConstant.h"

/// No and Yes as objects, for choices and settings. There are exactly two, shared; by name they are also
/// found as "0" and "1".
class QWBoolean : public QWConstantOf<QWBoolean> {
 public:
  static const qw::Class kClass;

  /// "No", 0.
  static Pointer falseBoolean() { return constantWithValue(0); }
  /// "Yes", 1.
  static Pointer trueBoolean() { return constantWithValue(1); }
  std::string description() const override;

  static void addConstants(QWConstantsManager& manager);
};

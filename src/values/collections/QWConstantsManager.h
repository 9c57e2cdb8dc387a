#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/base/Export.h"
#include "platform/object/Object.h"

class QWConstant;

/// The registry of one constant class: made and filled when the class is first used, once however many
/// threads ask, and kept for the process. Only read from then on, by any thread.
class QW_EXPORT QWConstantsManager : public qw::Object {
 public:
  /// Registered constants are never destroyed.
  using Constant = std::shared_ptr<QWConstant>;
  /// Adds every constant of a class to the registry that it is given.
  using Fill = void (*)(QWConstantsManager&);

  static const qw::Class kClass;

  /// The registry of a class of constants; an empty one when the class has no constants of its own.
  static QWConstantsManager& sharedManager(const qw::Class& constantClass);
  /// The constant with that `QWConstant::ID`, of a framework class or of one that the `ClassRegistry` knows;
  /// null when there is none.
  static Constant constantWithID(std::string_view ID);
  /// The same for a place that holds constants of one class or its subclasses: that class need not be known
  /// by name, and an ID that leads to no constant gives one that keeps it (`QWConstant::isUnknown`). Null for
  /// an empty ID.
  static Constant storedConstant(const qw::Class& constantClass, std::string_view ID);
  /// Makes the registry of a class, unless there is one; for `QWConstantOf`.
  static QWConstantsManager& makeManager(const qw::Class& constantClass, Fill fill);

  /// Every constant that was added, in that order.
  const std::vector<Constant>& constants() const { return constants_; }
  /// The last one added with each name.
  const std::map<std::string, Constant, std::less<>>& names() const { return names_; }
  /// The last one added with each value.
  const std::map<std::int64_t, Constant>& values() const { return values_; }

  /// The last one added with that name; null when there is none.
  Constant constantWithName(std::string_view name) const;
  /// The last one added with that value; null when there is none.
  Constant constantWithValue(std::int64_t value) const;
  /// The first one added whose shown text this is; null when there is none.
  Constant constantWithDescription(std::string_view description) const;

  /// Adds a constant, which is not changed from then on. While the registry is filled, or before another
  /// thread uses the class.
  void addConstant(Constant constant);
  /// Another name that `constantWithName` understands; a constant of that name goes before it.
  void addAlias(std::string name, Constant constant);

 private:
  static Constant find(const qw::Class& base, std::string_view ID);

  std::vector<Constant> constants_;
  std::map<std::string, Constant, std::less<>> names_;
  std::map<std::string, Constant, std::less<>> aliases_;
  std::map<std::int64_t, Constant> values_;
};

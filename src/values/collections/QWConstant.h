#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/base/Export.h"
#include "values/collections/QWConstantsManager.h"

/// A member of an enumeration as an object: a named integer that is shown under a localized name, stored
/// and archived by name, and looked up in its class's registry. An enumeration derives from `QWConstantOf`.
/// Registered constants are never changed and may be used on any thread.
class QW_EXPORT QWConstant : public qw::Object {
 public:
  static const qw::Class kClass;

  /// For classes of constants; before the constant is added to a registry.
  void initWithName(std::string name, std::int64_t value);

  /// Unique within the class, and the key of the shown text.
  const std::string& name() const { return name_; }
  /// A number that stays the same; what settings or files keep.
  std::int64_t value() const { return value_; }
  /// Does nothing once the constant was added to a registry.
  void setValue(std::int64_t value);
  /// The class's name, a point and the name, as stores and rules keep it; of an unknown constant, the text
  /// that it was read from.
  std::string ID() const;
  /// Whether the constant stands for a stored one that its class does not have (any more): it is in no
  /// registry, its value is -1, and saving it keeps what was stored.
  bool isUnknown() const { return !unknownID_.empty(); }

  /// The registry of this constant's class.
  virtual QWConstantsManager& manager() const;
  /// The shown text: the name looked up in the application's table, else the name.
  std::string description() const override;
  /// Whether class, ID and value are the same.
  bool isEqual(const qw::Object& other) const override;
  std::size_t hash() const override;
  /// By `value`.
  int compare(const qw::Object& other) const override;

  void encodeWithCoder(qw::KeyedArchiver& coder) const override;
  void initWithCoder(qw::KeyedUnarchiver& coder) override;
  /// The registered constant of that name, when the class has one.
  std::shared_ptr<qw::Object> replacementAfterDecoding() override;

 private:
  friend QWConstantsManager;

  std::string name_;
  std::int64_t value_ = 0;
  std::string unknownID_;
  bool added_ = false;
};

/// What every enumeration has: the look-ups in its own registry, which `T::addConstants` fills at first use.
/// That function adds to the registry it is given and calls none of these.
///
///     class Priority : public QWConstantOf<Priority> {
///      public:
///       static const qw::Class kClass;  // qw::define<Priority, QWConstant>("Priority", {}, ...)
///       static Pointer low() { return constantWithName("Low"); }
///       static void addConstants(QWConstantsManager& manager) { manager.addConstant(make("Low", 1)); }
///     };
template <class T>
class QW_EXPORT QWConstantOf : public QWConstant {
 public:
  /// Registered constants are never destroyed.
  using Pointer = std::shared_ptr<T>;

  /// A constant outside the registry.
  static Pointer make(std::string name, std::int64_t value) {
    auto constant = qw::make<T>();
    constant->initWithName(std::move(name), value);
    return constant;
  }

  /// The registry of this class, filled at first use.
  static QWConstantsManager& sharedManager() {
    static QWConstantsManager& manager = QWConstantsManager::makeManager(T::kClass, &T::addConstants);
    return manager;
  }
  /// In the order of addition.
  static std::vector<Pointer> constants() {
    std::vector<Pointer> constants;
    for (const auto& constant : sharedManager().constants()) constants.push_back(typed(constant));
    return constants;
  }
  /// See `QWConstantsManager::addConstant`.
  static void addConstant(Pointer constant) { sharedManager().addConstant(std::move(constant)); }
  /// The registered constant of that name; null when there is none.
  static Pointer constantWithName(std::string_view name) {
    return typed(sharedManager().constantWithName(name));
  }
  /// The last one added with that value; null when there is none.
  static Pointer constantWithValue(std::int64_t value) {
    return typed(sharedManager().constantWithValue(value));
  }
  /// The first one added with that shown text; null when there is none.
  static Pointer constantWithDescription(std::string_view description) {
    return typed(sharedManager().constantWithDescription(description));
  }

  /// The registry of this class.
  QWConstantsManager& manager() const override { return sharedManager(); }

 private:
  static Pointer typed(const std::shared_ptr<QWConstant>& constant) {
    return std::static_pointer_cast<T>(constant);
  }
};

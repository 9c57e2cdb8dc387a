#include "values/collections/QWConstant.h"

#include <functional>

#include "platform/files/KeyedArchiver.h"
#include "platform/files/KeyedUnarchiver.h"
#include "platform/object/Property.h"
#include "platform/system/Localization.h"

constinit const qw::Class QWConstant::kClass = qw::define<QWConstant, qw::Object>("QWConstant", {}, [] {
  return qw::properties(qw::property<&QWConstant::name_>("name"),
                        qw::property<&QWConstant::value_, &QWConstant::setValue>("value"),
                        qw::derived<&QWConstant::ID>("ID"),
                        qw::derived<&QWConstant::description>("description"));
});

void QWConstant::initWithName(std::string name, std::int64_t value) {
  name_ = std::move(name);
  value_ = value;
}

void QWConstant::setValue(std::int64_t value) {
  if (!added_) assign<&QWConstant::value_>(value);
}

std::string QWConstant::ID() const {
  return isUnknown() ? unknownID_ : std::string(objectClass().name()) + "." + name_;
}

QWConstantsManager& QWConstant::manager() const {
  return QWConstantsManager::makeManager(objectClass(), nullptr);
}

std::string QWConstant::description() const { return qw::Localization::applicationString(name_); }

bool QWConstant::isEqual(const qw::Object& other) const {
  if (this == &other) return true;
  if (&objectClass() != &other.objectClass()) return false;
  const auto& constant = static_cast<const QWConstant&>(other);
  return name_ == constant.name_ && value_ == constant.value_ && unknownID_ == constant.unknownID_;
}

std::size_t QWConstant::hash() const { return std::hash<std::string>()(name_); }

int QWConstant::compare(const qw::Object& other) const {
  const auto* constant = dynamic_cast<const QWConstant*>(&other);
  if (!constant) return qw::Object::compare(other);
  return value_ < constant->value_ ? -1 : value_ > constant->value_;
}

void QWConstant::encodeWithCoder(qw::KeyedArchiver& coder) const {
  coder.encodeObject(name_, "name");
  coder.encodeInt64(value_, "value");
}

void QWConstant::initWithCoder(qw::KeyedUnarchiver& coder) {
  name_ = coder.decodeText("name");
  value_ = coder.decodeInt64("value");
}

std::shared_ptr<qw::Object> QWConstant::replacementAfterDecoding() {
  const auto registered = manager().constantWithName(name_);
  return registered ? registered : shared_from_this();
}

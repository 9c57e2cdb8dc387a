#include "values/collections/QWConstant.h"

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

std::string QWConstant::ID() const { return std::string(objectClass().name()) + "." + name_; }

QWConstantsManager& QWConstant::manager() const {
  return QWConstantsManager::makeManager(objectClass(), nullptr);
}

std::string QWConstant::description() const { return qw::Localization::applicationString(name_); }

int QWConstant::compare(const qw::Object& other) const {
  const auto* constant = dynamic_cast<const QWConstant*>(&other);
  if (!constant) return qw::Object::compare(other);
  return value_ < constant->value_ ? -1 : value_ > constant->value_;
}

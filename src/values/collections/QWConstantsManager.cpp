#include "values/collections/QWConstantsManager.h"

#include <mutex>

#include "platform/object/Property.h"
#include "values/collections/QWConstant.h"

constinit const qw::Class QWConstantsManager::kClass = qw::define<QWConstantsManager, qw::Object>(
    "QWConstantsManager", {},
    [] { return qw::properties(qw::property<&QWConstantsManager::constants>("constants")); });

namespace {

struct Managers {
  std::mutex mutex;
  std::map<std::string_view, std::shared_ptr<QWConstantsManager>> byClassName;

  // Lives for the process: constants may be asked for while it ends.
  static Managers& shared() {
    static auto* managers = new Managers;
    return *managers;
  }

  QWConstantsManager* find(std::string_view className) {
    const std::lock_guard lock(mutex);
    const auto found = byClassName.find(className);
    return found == byClassName.end() ? nullptr : found->second.get();
  }
};

}  // namespace

QWConstantsManager& QWConstantsManager::sharedManager(const qw::Class& constantClass) {
  if (auto* manager = Managers::shared().find(constantClass.name())) return *manager;
  // An instance knows how its class fills the registry.
  const auto instance = std::dynamic_pointer_cast<QWConstant>(constantClass.create());
  return instance ? instance->manager() : makeManager(constantClass, nullptr);
}

QWConstantsManager::Constant QWConstantsManager::constantWithID(std::string_view ID) {
  return find(QWConstant::kClass, ID);
}

QWConstantsManager::Constant QWConstantsManager::storedConstant(const qw::Class& constantClass,
                                                                std::string_view ID) {
  if (ID.empty()) return nullptr;
  if (auto constant = find(constantClass, ID)) return constant;
  auto unknown = std::dynamic_pointer_cast<QWConstant>(constantClass.create());
  if (!unknown) return nullptr;
  const std::size_t point = ID.find('.');
  unknown->initWithName(std::string(point == ID.npos ? ID : ID.substr(point + 1)), -1);
  unknown->unknownID_ = ID;
  return unknown;
}

QWConstantsManager::Constant QWConstantsManager::find(const qw::Class& base, std::string_view ID) {
  const std::size_t point = ID.find('.');
  if (point == ID.npos) return nullptr;
  const std::string_view name = ID.substr(0, point);
  const qw::Class* constantClass = name == base.name() ? &base : qw::ClassRegistry::find(name);
  if (!constantClass || !constantClass->isSubclassOf(base)) return nullptr;
  return sharedManager(*constantClass).constantWithName(ID.substr(point + 1));
}

QWConstantsManager& QWConstantsManager::makeManager(const qw::Class& constantClass, Fill fill) {
  auto& managers = Managers::shared();
  if (auto* manager = managers.find(constantClass.name())) return *manager;
  auto manager = qw::make<QWConstantsManager>();
  if (fill) fill(*manager);
  qw::ClassRegistry::add({&constantClass});
  const std::lock_guard lock(managers.mutex);
  return *managers.byClassName.emplace(constantClass.name(), std::move(manager)).first->second;
}

QWConstantsManager::Constant QWConstantsManager::constantWithName(std::string_view name) const {
  if (const auto found = names_.find(name); found != names_.end()) return found->second;
  const auto alias = aliases_.find(name);
  return alias == aliases_.end() ? nullptr : alias->second;
}

QWConstantsManager::Constant QWConstantsManager::constantWithValue(std::int64_t value) const {
  const auto found = values_.find(value);
  return found == values_.end() ? nullptr : found->second;
}

QWConstantsManager::Constant QWConstantsManager::constantWithDescription(std::string_view description) const {
  for (const Constant& constant : constants_)
    if (constant->description() == description) return constant;
  return nullptr;
}

void QWConstantsManager::addConstant(Constant constant) {
  constant->added_ = true;
  names_.insert_or_assign(constant->name(), constant);
  values_.insert_or_assign(constant->value(), constant);
  constants_.push_back(std::move(constant));
}

void QWConstantsManager::addAlias(std::string name, Constant constant) {
  aliases_.insert_or_assign(std::move(name), std::move(constant));
}

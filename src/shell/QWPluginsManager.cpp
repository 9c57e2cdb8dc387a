#include "shell/QWPluginsManager.h"

#include "platform/object/Property.h"
#include "platform/system/ApplicationContext.h"

namespace {

qw::Array arrayOf(const QWPluginsManager::Classes& classes) {
  return qw::Array(classes.begin(), classes.end());
}

std::shared_ptr<qw::Object> sharedInstance() { return QWPluginsManager::sharedManager().shared_from_this(); }

}  // namespace

constinit const qw::Class QWPluginsManager::kClass = [] {
  constexpr auto table = [] {
    return qw::properties(qw::derived<&QWPluginsManager::pluginsValue>("plugins"));
  };
  return qw::Class("QWPluginsManager", &qw::Object::kClass, {}, qw::detail::kTable<decltype(table)>,
                   &sharedInstance);
}();

QWPluginsManager& QWPluginsManager::sharedManager() {
  struct Shared final : QWPluginsManager {};
  static auto& manager = *[] {
    auto* made = new std::shared_ptr<QWPluginsManager>(qw::make<Shared>());
    (*made)->loadInternalPlugins();
    return made;
  }();
  return *manager;
}

QWPluginsManager::Classes QWPluginsManager::pluginsOfType(const qw::Class& type) const {
  const std::lock_guard lock(mutex_);
  const auto found = plugins_.find(std::string(type.name()));
  return found == plugins_.end() ? Classes() : found->second;
}

std::map<std::string, QWPluginsManager::Classes> QWPluginsManager::plugins() const {
  const std::lock_guard lock(mutex_);
  return plugins_;
}

bool QWPluginsManager::registerPluginClass(const qw::Class& pluginClass, const qw::Class& type) {
  if (pluginClass.superclass() != &type) return false;
  const std::lock_guard lock(mutex_);
  plugins_[std::string(type.name())].push_back(&pluginClass);
  return true;
}

qw::Value QWPluginsManager::valueForUndefinedKey(std::string_view key) const {
  const qw::Class* type = qw::ClassRegistry::find(key);
  if (!type) return qw::Object::valueForUndefinedKey(key);
  const Classes classes = pluginsOfType(*type);
  return classes.empty() ? qw::Value() : arrayOf(classes);
}

void QWPluginsManager::loadInternalPlugins() {
  for (const auto& [typeName, classNames] : qw::ApplicationContext::current().application.plugIns) {
    const qw::Class* type = qw::ClassRegistry::find(typeName);
    if (!type) continue;
    for (const std::string& className : classNames)
      if (const qw::Class* pluginClass = qw::ClassRegistry::find(className))
        registerPluginClass(*pluginClass, *type);
  }
}

qw::Dictionary QWPluginsManager::pluginsValue() const {
  qw::Dictionary lists;
  for (const auto& [type, classes] : plugins()) lists[type] = arrayOf(classes);
  return lists;
}

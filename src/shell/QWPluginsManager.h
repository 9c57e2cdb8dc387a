#pragma once

#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "platform/base/Export.h"
#include "platform/object/Object.h"

/// Which classes of an application implement an extension point of the framework (a type). One shared
/// instance, which starts with what the application declares under "QWPlugins" in its information dictionary;
/// names that the `ClassRegistry` does not know at that time are skipped. Any thread. By key-value access,
/// the name of a known class answers its plug-ins.
///
///     for (const qw::Class* c : QWPluginsManager::sharedManager().pluginsOfType(Handler::kClass))
///       handlers.push_back(c->create());
class QW_EXPORT QWPluginsManager : public qw::Object {
 public:
  /// In the order of registration.
  using Classes = std::vector<const qw::Class*>;

  /// Creating an instance from the class gives the shared one, too.
  static const qw::Class kClass;
  /// The one instance; never destroyed.
  static QWPluginsManager& sharedManager();

  /// In the order of registration; empty when there are none.
  Classes pluginsOfType(const qw::Class& type) const;
  /// Every list, by the name of its type.
  std::map<std::string, Classes> plugins() const;

  /// Appends a class to those of a type, each time it is called. False, with nothing registered, unless the
  /// type is the direct superclass.
  bool registerPluginClass(const qw::Class& pluginClass, const qw::Class& type);

 protected:
  QWPluginsManager() = default;
  qw::Value valueForUndefinedKey(std::string_view key) const override;

 private:
  void loadInternalPlugins();
  qw::Dictionary pluginsValue() const;

  mutable std::mutex mutex_;
  std::map<std::string, Classes> plugins_;
};

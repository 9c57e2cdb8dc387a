#include <gtest/gtest.h>

#include <optional>
#include <thread>
#include <vector>

#include "platform/object/Property.h"
#include "platform/system/ApplicationContext.h"
#include "shell/QWPluginsManager.h"

namespace {

template <class Base, int>
class Kind : public Base {
 public:
  static const qw::Class kClass;
};
using Type0 = Kind<qw::Object, 0>;
using Type1 = Kind<qw::Object, 1>;
using Handler = Kind<Type0, 0>;
using OtherHandler = Kind<Type0, 1>;
using SpecialHandler = Kind<Handler, 0>;

template <class T, class Base>
consteval qw::Class kind(const char* name) {
  return qw::define<T, Base>(name, {}, [] { return qw::properties(); });
}
template <>
constinit const qw::Class Type0::kClass = kind<Type0, qw::Object>("Type0");
template <>
constinit const qw::Class Type1::kClass = kind<Type1, qw::Object>("Type1");
template <>
constinit const qw::Class Handler::kClass = kind<Handler, Type0>("Handler");
template <>
constinit const qw::Class OtherHandler::kClass = kind<OtherHandler, Type0>("OtherHandler");
template <>
constinit const qw::Class SpecialHandler::kClass = kind<SpecialHandler, Handler>("SpecialHandler");

using Classes = QWPluginsManager::Classes;

class QWPluginsManagerTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    qw::ClassRegistry::add(
        {&Type0::kClass, &Type1::kClass, &Handler::kClass, &OtherHandler::kClass, &SpecialHandler::kClass});
    qw::ApplicationContext::Override context;
    context.change([](qw::ApplicationContext& changed) {
      changed.application.plugIns = {
          {"Type0", {"Handler", "NoSuchHandler", "SpecialHandler", "OtherHandler"}},
          {"NoSuchType", {"Handler"}}};
    });
    // Many threads meet at the first use.
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
      threads.emplace_back(
          [] { EXPECT_EQ(QWPluginsManager::sharedManager().pluginsOfType(Type0::kClass).size(), 2u); });
    for (auto& thread : threads) thread.join();
  }

  QWPluginsManager& manager_ = QWPluginsManager::sharedManager();
};

TEST_F(QWPluginsManagerTest, DeclaredClassesOfKnownTypesAreRegistered) {
  EXPECT_EQ(manager_.pluginsOfType(Type0::kClass), (Classes{&Handler::kClass, &OtherHandler::kClass}));
  EXPECT_EQ(manager_.plugins().size(), 1u);
}

TEST_F(QWPluginsManagerTest, ATypeIsAnsweredUnderItsNameByKeyValueAccess) {
  EXPECT_EQ(manager_.valueForKey("Type0"), qw::Value(qw::Array{&Handler::kClass, &OtherHandler::kClass}));
  EXPECT_TRUE(manager_.valueForKey("SpecialHandler").isNull());
  EXPECT_TRUE(manager_.valueForKey("NoSuchType").isNull());
  EXPECT_EQ(manager_.valueForKey("class"), qw::Value(&QWPluginsManager::kClass));
  EXPECT_EQ(manager_.valueForKeyPath("plugins.Type0.@count"), qw::Value(2));
}

TEST_F(QWPluginsManagerTest, OnlyDirectSubclassesRegisterEachTimeAnew) {
  EXPECT_FALSE(manager_.registerPluginClass(SpecialHandler::kClass, Type1::kClass));
  EXPECT_FALSE(manager_.registerPluginClass(SpecialHandler::kClass, Type0::kClass));
  EXPECT_FALSE(manager_.registerPluginClass(Type1::kClass, Type1::kClass));
  EXPECT_TRUE(manager_.pluginsOfType(Type1::kClass).empty());
  EXPECT_TRUE(manager_.registerPluginClass(SpecialHandler::kClass, Handler::kClass));
  EXPECT_TRUE(manager_.registerPluginClass(SpecialHandler::kClass, Handler::kClass));
  EXPECT_EQ(manager_.pluginsOfType(Handler::kClass),
            (Classes{&SpecialHandler::kClass, &SpecialHandler::kClass}));
}

TEST_F(QWPluginsManagerTest, EveryNewInstanceIsTheSharedOne) {
  EXPECT_EQ(QWPluginsManager::kClass.create().get(), &manager_);
}

}  // namespace

#include <gtest/gtest.h>

#include <optional>
#include <thread>
#include <vector>

#include "platform/object/Property.h"
#include "platform/system/ApplicationContext.h"
#include "shell/QWPluginsManager.h"

namespace {

template <int Number>
class Type : public qw::Object {
 public:
  static const qw::Class kClass;
};
class Handler : public Type<0> {
 public:
  static const qw::Class kClass;
};
class OtherHandler : public Type<0> {
 public:
  static const qw::Class kClass;
};
class SpecialHandler : public Handler {
 public:
  static const qw::Class kClass;
};

constexpr auto kNoRows = [] { return qw::properties(); };
template <>
constinit const qw::Class Type<0>::kClass = qw::define<Type<0>, qw::Object>("Type0", {}, kNoRows);
template <>
constinit const qw::Class Type<1>::kClass = qw::define<Type<1>, qw::Object>("Type1", {}, kNoRows);
constinit const qw::Class Handler::kClass = qw::define<Handler, Type<0>>("Handler", {}, kNoRows);
constinit const qw::Class OtherHandler::kClass =
    qw::define<OtherHandler, Type<0>>("OtherHandler", {}, kNoRows);
constinit const qw::Class SpecialHandler::kClass =
    qw::define<SpecialHandler, Handler>("SpecialHandler", {}, kNoRows);

using Classes = QWPluginsManager::Classes;

class QWPluginsManagerTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    qw::ClassRegistry::add({&Type<0>::kClass, &Type<1>::kClass, &Handler::kClass, &OtherHandler::kClass,
                            &SpecialHandler::kClass});
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
          [] { EXPECT_EQ(QWPluginsManager::sharedManager().pluginsOfType(Type<0>::kClass).size(), 2u); });
    for (auto& thread : threads) thread.join();
  }

  QWPluginsManager& manager_ = QWPluginsManager::sharedManager();
};

TEST_F(QWPluginsManagerTest, DeclaredClassesOfKnownTypesAreRegistered) {
  EXPECT_EQ(manager_.pluginsOfType(Type<0>::kClass), (Classes{&Handler::kClass, &OtherHandler::kClass}));
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
  EXPECT_FALSE(manager_.registerPluginClass(SpecialHandler::kClass, Type<1>::kClass));
  EXPECT_FALSE(manager_.registerPluginClass(SpecialHandler::kClass, Type<0>::kClass));
  EXPECT_FALSE(manager_.registerPluginClass(Type<1>::kClass, Type<1>::kClass));
  EXPECT_TRUE(manager_.pluginsOfType(Type<1>::kClass).empty());
  EXPECT_TRUE(manager_.registerPluginClass(SpecialHandler::kClass, Handler::kClass));
  EXPECT_TRUE(manager_.registerPluginClass(SpecialHandler::kClass, Handler::kClass));
  EXPECT_EQ(manager_.pluginsOfType(Handler::kClass),
            (Classes{&SpecialHandler::kClass, &SpecialHandler::kClass}));
}

TEST_F(QWPluginsManagerTest, EveryNewInstanceIsTheSharedOne) {
  EXPECT_EQ(QWPluginsManager::kClass.create().get(), &manager_);
}

}  // namespace

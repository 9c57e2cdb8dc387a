#pragma once

#include <optional>
#include <string>

#include "platform/system/ApplicationContext.h"
#include "platform/system/TimeZone.h"

/// A user with a locale and, where it matters, a time zone, while this lives.
class User {
 public:
  explicit User(const std::string& locale = "en_US", const char* zone = nullptr) {
    setLocale(locale);
    if (zone) zone_.emplace(zone);
  }
  void setLocale(const std::string& locale) {
    context_.change([&](qw::ApplicationContext& context) { context.locale = locale; });
  }

 private:
  qw::ApplicationContext::Override context_;
  std::optional<qw::TimeZone::Override> zone_;
};

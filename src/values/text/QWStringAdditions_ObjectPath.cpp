#include "values/text/QWStringAdditions.h"

namespace QWStringAdditions {
namespace {

constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kSeparator = " : ";

std::string_view withoutLeadingBlanks(std::string_view text) {
  const std::size_t start = text.find_first_not_of(kBlanks);
  return start == std::string_view::npos ? std::string_view() : text.substr(start);
}

std::string_view withoutTrailingBlanks(std::string_view text) {
  return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

template <class Visitor>
void forEachComponent(std::string_view path, Visitor visit) {
  while (true) {
    const std::size_t end = path.find(':');
    visit(withoutTrailingBlanks(withoutLeadingBlanks(path.substr(0, end))));
    if (end == std::string_view::npos) return;
    path.remove_prefix(end + 1);
  }
}

}  // namespace

std::vector<std::string> objectPathComponents(std::string_view path) {
  std::vector<std::string> components;
  forEachComponent(path, [&](std::string_view component) { components.emplace_back(component); });
  return components;
}

std::optional<std::string> firstObjectPathComponent(std::string_view path) {
  const std::size_t end = path.find(':');
  if (end == std::string_view::npos) return std::string(path);
  const std::string_view component = withoutTrailingBlanks(path.substr(0, end));
  if (component.empty()) return std::nullopt;
  return std::string(component);
}

std::optional<std::string> stringByDeletingFirstObjectPathComponent(std::string_view path) {
  const std::size_t end = path.find(':');
  if (end == std::string_view::npos) return std::nullopt;
  const std::string_view rest = withoutLeadingBlanks(path.substr(end + 1));
  if (rest.empty()) return std::nullopt;
  return std::string(rest);
}

std::string stringByAppendingObjectPathComponent(std::string_view path, std::string_view component) {
  std::string result(path);
  if (!path.empty()) result += kSeparator;
  return result.append(component);
}

std::string stringByStandardizingObjectPathComponents(std::string_view path) {
  std::string result;
  bool first = true;
  forEachComponent(path, [&](std::string_view component) {
    if (!first) result += kSeparator;
    result += component;
    first = false;
  });
  return result;
}

}  // namespace QWStringAdditions

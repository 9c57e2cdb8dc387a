#include "platform/system/TemporaryDirectory.h"

#include <cerrno>
#include <cstdlib>
#include <string>
#include <system_error>

#include "platform/system/ApplicationContext.h"
#include "platform/system/FileManager.h"
#include "platform/system/Localization.h"

namespace qw {

std::optional<TemporaryDirectory> TemporaryDirectory::create(std::string_view name, Error* error) {
  return createIn(ApplicationContext::current().temporaryDirectory, name, error);
}

std::optional<TemporaryDirectory> TemporaryDirectory::createIn(const std::filesystem::path& parent,
                                                               std::string_view name, Error* error) {
  std::string path = (parent / (std::string(name) + "-XXXXXX")).string();
  if (!mkdtemp(path.data())) {
    Error::set(error, FileManager::kErrorDomain, FileManager::kSystemError,
               Localization::frameworkFormat("Error.Create", {path, std::generic_category().message(errno)}));
    return std::nullopt;
  }
  return TemporaryDirectory(std::move(path));
}

TemporaryDirectory::~TemporaryDirectory() {
  if (!path_.empty()) FileManager::removeItem(path_);
}

}  // namespace qw

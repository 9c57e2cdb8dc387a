#include "program/Session.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>

#include "model/Records.h"
#include "program/Terminal.h"

namespace {

bool fail(qw::Error* error, std::string message) {
  return qw::Error::set(error, Records::kErrorDomain, 3, std::move(message));
}

bool isRecord(const QWDatabaseObject& object) {
  const bool isRoot = object.isKindOf(Category::kClass) && !static_cast<const Category&>(object).parent();
  return !object.isDeleted() && !isRoot && Records::kindOf(object);
}

}  // namespace

Session::~Session() {
  store_.reset();
  if (file_ >= 0) close(file_);
  std::error_code ignored;
  if (isNew_) std::filesystem::remove(path_, ignored);
}

bool Session::hold(qw::Error* error) {
  file_ = ::open(path_.c_str(), isNew_ ? O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC : O_RDWR | O_CLOEXEC, 0666);
  if (file_ < 0) {
    isNew_ = false;
    return fail(error, fmt::format("cannot open {}: {}", path_.string(), std::strerror(errno)));
  }
  if (flock(file_, LOCK_EX | LOCK_NB) == 0) return true;
  return fail(error, fmt::format("{} is being changed by another program", path_.string()));
}

bool Session::isComplete() const {
  const auto root = store_->rootObjectAs<Book>();
  return root && root->valueForKey("rootCategory").object() && root->homeCurrency();
}

std::unique_ptr<Session> Session::open(const std::filesystem::path& path, Access access,
                                       const std::optional<std::string>& password, qw::Error* error) {
  std::unique_ptr<Session> session(new Session());
  session->path_ = path;
  session->isNew_ = access == Access::kNew;
  std::error_code failure;
  const auto size = access == Access::kNew ? 1 : std::filesystem::file_size(path, failure);
  if (failure)
    return fail(error, fmt::format("cannot open {}: {}", path.string(), failure.message())), nullptr;
  if (size == 0) return fail(error, fmt::format("{} is empty", path.string())), nullptr;

  QWDatabaseManager::OpenOptions options;
  if (access == Access::kRead) options.access = QWDatabaseManager::Access::kReadOnly;
  if (access == Access::kCheck) options.access = QWDatabaseManager::Access::kForeignReadOnly;
  const bool changes = access == Access::kNew || access == Access::kChange;
  if (changes && !session->hold(error)) return nullptr;
  session->store_ = QWDatabaseManager::open<ExpenseBook>(path, options, error);
  if (!session->store_) return nullptr;

  if (const auto undo = session->store_->undoManager()) undo->setGroupsByEvent(false);
  if (access == Access::kNew) return session;
  if (!session->isComplete())
    return fail(error, fmt::format("{} is no expense book, or a damaged one", path.string())), nullptr;
  if (!session->store_->password()) return session;
  const auto answer =
      password ? password : Terminal::askSecretly(fmt::format("Password of {}: ", path.string()));
  if (!answer) return fail(error, "the book is protected: give --password"), nullptr;
  if (!session->store_->checkPassword(*answer))
    return fail(error, "this is not the book's password"), nullptr;
  return session;
}

bool Session::save(qw::Error* error) {
  if (isChanged_ && !store_->save(error)) return false;
  isNew_ = false;
  return true;
}

std::shared_ptr<QWDatabaseObject> Session::recordWithPrefix(std::string_view prefix, qw::Error* error) const {
  std::string wanted(prefix);
  std::transform(wanted.begin(), wanted.end(), wanted.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  if (auto record = store_->objectWithID(wanted); record && isRecord(*record)) return record;
  std::shared_ptr<QWDatabaseObject> found;
  std::size_t count = 0;
  const auto isMeant = [&](const qw::ObjectID& id) {
    if (!id.isUUID()) return id.text().starts_with(wanted);
    char characters[36];  // a text for each of many records would be slow
    id.uuid().write(characters);
    return std::string_view(characters, sizeof characters).starts_with(wanted);
  };
  if (!wanted.empty())
    store_->objects().forEach([&](const std::shared_ptr<QWDatabaseObject>& object) {
      if (!isMeant(object->ID()) || !isRecord(*object)) return;
      found = object;
      ++count;
    });
  if (count == 1) return found;
  fail(error, count ? fmt::format("\"{}\" fits the IDs of {} records", prefix, count)
                    : fmt::format("no record has the ID \"{}\"", prefix));
  return nullptr;
}

std::size_t Session::prefixLength() const {
  std::vector<std::string> ids;
  ids.reserve(store_->objects().count());
  store_->objects().forEach([&](const auto& object) { ids.push_back(object->ID().text()); });
  std::sort(ids.begin(), ids.end());
  std::size_t length = 8;
  for (std::size_t i = 1; i < ids.size(); ++i) {
    const auto [a, b] = std::mismatch(ids[i - 1].begin(), ids[i - 1].end(), ids[i].begin(), ids[i].end());
    length = std::max(length, static_cast<std::size_t>(a - ids[i - 1].begin()) + 1);
  }
  return length;
}

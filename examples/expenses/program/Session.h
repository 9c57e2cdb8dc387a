#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "model/ExpenseBook.h"
#include "platform/object/UndoGroup.h"

struct Command;

/// A book that commands work on: its file, held against other programs while it may be changed, and the
/// store. One thread.
class Session {
 public:
  enum class Access : std::uint8_t { kNew, kRead, kChange, kCheck };

  /// Null when the file is no book, is held by another program, or asks for another password.
  static std::unique_ptr<Session> open(const std::filesystem::path& path, Access access,
                                       const std::optional<std::string>& password, qw::Error* error);
  ~Session();

  ExpenseBook& store() const { return *store_; }
  Book& book() const { return store_->book(); }
  const std::filesystem::path& path() const { return path_; }

  /// Runs something that changes the book as one undo step; when it fails, the book is as before.
  template <class Work>
  bool change(const std::string& name, Work work) {
    qw::UndoGroup step(store_->undoManager(), name);
    const bool done = work();
    isChanged_ |= !std::exchange(hasOnlyLooked_, false) && done;
    if (!done) step.takeBack();
    return done;
  }
  /// Says that the work of this `change` changes nothing.
  void onlyLook() { hasOnlyLooked_ = true; }
  /// Says that the book was changed otherwise.
  void noteChange() { isChanged_ = true; }
  /// Writes what has changed, in one transaction; leaves the file alone when nothing has.
  bool save(qw::Error* error);

  /// The records whose IDs begin with a text. With the IDs of deleted ones it is as if they were not there.
  std::shared_ptr<QWDatabaseObject> recordWithPrefix(std::string_view prefix, qw::Error* error) const;
  /// How many characters of an ID tell it from all others of the book, at least 8.
  std::size_t prefixLength() const;

 private:
  Session() = default;
  bool hold(qw::Error* error);
  bool isComplete() const;

  std::filesystem::path path_;
  int file_ = -1;  // closed last: closing any descriptor of a file ends SQLite's own locks on it
  std::shared_ptr<ExpenseBook> store_;
  bool isNew_ = false;
  bool isChanged_ = false;
  bool hasOnlyLooked_ = false;
};

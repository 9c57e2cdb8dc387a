#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "platform/base/Error.h"
#include "platform/base/Export.h"
#include "platform/object/Back.h"
#include "platform/object/Object.h"

class QWDatabaseManager;

/// What the store asks of a document-synchronization handler, to which it hands the zipped store after a
/// save. Handlers belong to the application; their classes are declared as plug-ins of the type
/// "QWDocumentSynchronizationHandler".
class QW_EXPORT QWSynchronizationHandling : public qw::Object {
 public:
  static const qw::Class kClass;

  /// Unique among the handlers, and the same whenever the store is opened.
  virtual std::string identifier() const = 0;
  /// Whether it is given archives after saves. Kept in the file.
  virtual bool isActive() const = 0;
  /// Switches it on or off for this store.
  virtual void setActive(bool active) = 0;
  /// When it was given an archive last; none before. Kept in the file.
  virtual std::optional<qw::Date> lastSynchronizationDate() const = 0;
  /// Also called with the date in the file when a store is opened.
  virtual void setLastSynchronizationDate(std::optional<qw::Date> date) = 0;
  /// Whether it wants an archive after this save.
  virtual bool shouldProcess() const = 0;
  /// Takes the zipped store. False with the error set on failure. The archive is deleted afterwards.
  virtual bool handleArchiveURL(const std::filesystem::path& URL, qw::Error* error) = 0;
  /// Ends its work for this store.
  virtual void deactivate() = 0;
  /// The store that it belongs to, not owned; null when that is destroyed.
  virtual void setDatabaseManager(QWDatabaseManager* manager) = 0;
};

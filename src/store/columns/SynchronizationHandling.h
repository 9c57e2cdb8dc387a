#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "platform/base/Error.h"
#include "platform/base/Export.h"
#include "platform/object/Back.h"
#include "platform/object/Object.h"

class QWDatabaseManager;

/// What the store asks of a document-synchronization handler: it is given the zipped store after a save. The
/// handlers themselves lie further up; their classes are declared as plug-ins of the type
/// "QWDocumentSynchronizationHandler".
class QW_EXPORT QWSynchronizationHandling : public qw::Object {
 public:
  static const qw::Class kClass;

  virtual std::string identifier() const = 0;
  virtual bool isActive() const = 0;
  virtual void setActive(bool active) = 0;
  virtual std::optional<qw::Date> lastSynchronizationDate() const = 0;
  virtual void setLastSynchronizationDate(std::optional<qw::Date> date) = 0;
  virtual bool shouldProcess() const = 0;
  /// The archive is deleted afterwards.
  virtual bool handleArchiveURL(const std::filesystem::path& URL, qw::Error* error) = 0;
  virtual void deactivate() = 0;
  virtual void setDatabaseManager(QWDatabaseManager* manager) = 0;
};

#pragma once

#include <string>
#include <string_view>

#include "platform/base/Export.h"

namespace qw {

/// Why an operation failed: a domain that owns the codes, a code, and a description for the user. Filled
/// through an optional out-parameter, which is written only on failure.
struct QW_EXPORT Error {
  /// Who owns the code, for instance "QWDatabaseErrorDomain". Empty: no error.
  std::string domain;
  /// Of the domain's enumeration.
  int code = 0;
  /// A sentence for the user, in his language.
  std::string localizedDescription;

  /// Whether an error was set.
  explicit operator bool() const { return !domain.empty(); }
  friend bool operator==(const Error&, const Error&) = default;

  /// Fills `error` when the caller asked for one and answers false, so that a failing operation can end with
  /// `return Error::set(error, ...)`.
  static bool set(Error* error, std::string_view domain, int code, std::string description) {
    if (error) *error = Error{std::string(domain), code, std::move(description)};
    return false;
  }
};

}  // namespace qw

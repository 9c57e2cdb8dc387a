#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/base/Error.h"
#include "platform/base/Export.h"
#include "platform/base/Image.h"
#include "platform/base/Registration.h"
#include "platform/object/Object.h"

namespace qw {

/// How controllers put questions to the user: implemented by the program (a window toolkit, a command line, a
/// web page) and by tests, handed to whoever needs it, used on the main thread. Every request is answered
/// exactly once through its completion, on the main thread and never before the request has returned. The
/// defaults answer like a user who cancels. A controller shown inside a request (`accessory`) is any object
/// that has observable state.
class QW_EXPORT Presenter {
 public:
  struct Choice {
    std::string title{};
    bool isEnabled = true;
  };
  /// A question with buttons and, if there are choices, a selector of one of them.
  struct Question {
    std::string title{};
    std::string message{};
    /// Without one, the presenter shows its own for confirming.
    std::vector<std::string> buttons{};
    /// Indexes in `buttons`: what the return and escape keys press.
    std::size_t defaultButton = 0;
    std::size_t cancelButton = 0;
    std::vector<Choice> choices{};
    std::size_t selectedChoice = 0;
    std::optional<Image> icon{};
    std::shared_ptr<Object> accessory{};
  };
  struct Answer {
    std::size_t button = 0;
    std::size_t choice = 0;
    friend bool operator==(const Answer&, const Answer&) = default;
  };
  struct OpenRequest {
    std::string title{};
    /// The text of the confirming button.
    std::string prompt{};
    /// Extensions without a dot, "" for files without one; none allows every file.
    std::vector<std::string> fileTypes{};
    bool choosesDirectories = false;
    bool allowsMultipleSelection = false;
    /// Where to begin; empty leaves it to the presenter.
    std::filesystem::path directory{};
    std::shared_ptr<Object> accessory{};
  };
  struct SaveRequest {
    std::string title{};
    std::string prompt{};
    std::string suggestedName{};
    std::vector<std::string> fileTypes{};
    std::filesystem::path directory{};
    std::shared_ptr<Object> accessory{};
  };
  struct PasswordRequest {
    std::string title{};
    std::string message{};
  };
  /// An indication of work in progress, which disappears when it is destroyed.
  class Progress {
   public:
    virtual ~Progress() = default;
    virtual void setLabel(const std::string&) {}
    /// Between 0 and 1; no value while the extent is unknown.
    virtual void setFraction(std::optional<double>) {}
  };

  virtual ~Presenter() = default;

  virtual void ask(const Question& question, std::function<void(Answer)> completion);
  /// A question that can only be confirmed.
  void alert(std::string title, std::string message, std::function<void()> completion = {});
  /// An alert with the error's description.
  void presentError(const Error& error, std::function<void()> completion = {});
  /// Answers nothing when the user cancels, otherwise at least one path.
  virtual void chooseFilesToOpen(const OpenRequest& request,
                                 std::function<void(std::vector<std::filesystem::path>)> completion);
  virtual void chooseFileToSave(const SaveRequest& request,
                                std::function<void(std::optional<std::filesystem::path>)> completion);
  virtual void askPassword(const PasswordRequest& request,
                           std::function<void(std::optional<std::string>)> completion);
  /// Answers whether a file can be read, or is not there. When the system keeps it from the program the user
  /// is asked to choose it, by which a sandbox lets it in.
  void accessFile(const std::filesystem::path& path, const std::string& message,
                  std::function<void(bool)> completion);
  /// Never null. `cancel`, if given, is called at most once, on the main thread, when the user cancels the
  /// work.
  virtual std::unique_ptr<Progress> showProgress(const std::string& title, std::function<void()> cancel = {});
  /// Shows a controller on its own until the registration ends.
  virtual Registration show(std::shared_ptr<Object> controller);
};

}  // namespace qw

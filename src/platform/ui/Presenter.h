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
  /// One of the choices of a question.
  struct Choice {
    /// What is shown.
    std::string title{};
    /// Whether the user may choose it.
    bool isEnabled = true;
  };
  /// A question with buttons and, if there are choices, a selector of one of them.
  struct Question {
    /// What is asked, in a few words.
    std::string title{};
    /// More about it; may be empty.
    std::string message{};
    /// Without one, the presenter shows its own for confirming.
    std::vector<std::string> buttons{};
    /// Indexes in `buttons`: what the return and escape keys press.
    std::size_t defaultButton = 0;
    /// What the escape key presses.
    std::size_t cancelButton = 0;
    /// What the selector offers; none without a selector.
    std::vector<Choice> choices{};
    /// The index of what is selected at first.
    std::size_t selectedChoice = 0;
    /// Shown beside the question.
    std::optional<Image> icon{};
    /// A controller, mostly a `Form`, that is shown inside the question.
    std::shared_ptr<Object> accessory{};
  };
  /// What the user answered.
  struct Answer {
    /// The index of the button that was pressed.
    std::size_t button = 0;
    /// The index of the selected choice; 0 without choices.
    std::size_t choice = 0;
    friend bool operator==(const Answer&, const Answer&) = default;
  };
  /// A question for files that exist.
  struct OpenRequest {
    /// What the files are for.
    std::string title{};
    /// The text of the confirming button.
    std::string prompt{};
    /// Extensions without a dot, "" for files without one; none allows every file.
    std::vector<std::string> fileTypes{};
    /// Whether directories are chosen instead of files.
    bool choosesDirectories = false;
    /// Whether more than one may be chosen.
    bool allowsMultipleSelection = false;
    /// Where to begin; empty leaves it to the presenter.
    std::filesystem::path directory{};
    /// Shown beside the files; null for none.
    std::shared_ptr<Object> accessory{};
  };
  /// A question for where to write a file.
  struct SaveRequest {
    /// What the file is for.
    std::string title{};
    /// The text of the confirming button.
    std::string prompt{};
    /// The file's name at first, with its extension.
    std::string suggestedName{};
    /// Extensions without a dot; none allows every name.
    std::vector<std::string> fileTypes{};
    /// Where to begin; empty leaves it to the presenter.
    std::filesystem::path directory{};
    /// Shown beside the name; null for none.
    std::shared_ptr<Object> accessory{};
  };
  /// A question for a password.
  struct PasswordRequest {
    /// What the password is for.
    std::string title{};
    /// More about it; may be empty.
    std::string message{};
  };
  /// An indication of work in progress, which disappears when it is destroyed.
  class Progress {
   public:
    virtual ~Progress() = default;
    /// Says what is being done.
    virtual void setLabel(const std::string&) {}
    /// Between 0 and 1; no value while the extent is unknown.
    virtual void setFraction(std::optional<double>) {}
  };

  virtual ~Presenter() = default;

  /// Asks a question; the default answers with its cancel button.
  virtual void ask(const Question& question, std::function<void(Answer)> completion);
  /// A question that can only be confirmed.
  void alert(std::string title, std::string message, std::function<void()> completion = {});
  /// An alert with the error's description.
  void presentError(const Error& error, std::function<void()> completion = {});
  /// Answers nothing when the user cancels, otherwise at least one path.
  virtual void chooseFilesToOpen(const OpenRequest& request,
                                 std::function<void(std::vector<std::filesystem::path>)> completion);
  /// Answers none when the user cancels.
  virtual void chooseFileToSave(const SaveRequest& request,
                                std::function<void(std::optional<std::filesystem::path>)> completion);
  /// Answers none when the user cancels.
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

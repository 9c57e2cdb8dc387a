#include "platform/ui/Presenter.h"

#include <unistd.h>

#include <cerrno>
#include <utility>

#include "platform/loop/RunLoop.h"

namespace qw {

void Presenter::ask(const Question& question, std::function<void(Answer)> completion) {
  const Answer answer{question.cancelButton, question.selectedChoice};
  RunLoop::main().dispatch([answer, completion = std::move(completion)] { completion(answer); });
}

void Presenter::alert(std::string title, std::string message, std::function<void()> completion) {
  Question question;
  question.title = std::move(title);
  question.message = std::move(message);
  ask(question, [completion = std::move(completion)](Answer) {
    if (completion) completion();
  });
}

void Presenter::presentError(const Error& error, std::function<void()> completion) {
  alert(error.localizedDescription, {}, std::move(completion));
}

void Presenter::chooseFilesToOpen(const OpenRequest&,
                                  std::function<void(std::vector<std::filesystem::path>)> completion) {
  RunLoop::main().dispatch([completion = std::move(completion)] { completion({}); });
}

void Presenter::chooseFileToSave(const SaveRequest&,
                                 std::function<void(std::optional<std::filesystem::path>)> completion) {
  RunLoop::main().dispatch([completion = std::move(completion)] { completion(std::nullopt); });
}

void Presenter::askPassword(const PasswordRequest&,
                            std::function<void(std::optional<std::string>)> completion) {
  RunLoop::main().dispatch([completion = std::move(completion)] { completion(std::nullopt); });
}

// Presenters that show something keep the closure.
std::unique_ptr<Presenter::Progress> Presenter::showProgress(const std::string&,
                                                             std::function<void()>) {  // NOLINT
  return std::make_unique<Progress>();
}

Registration Presenter::show(std::shared_ptr<Object>) { return {}; }

void Presenter::accessFile(const std::filesystem::path& path, const std::string& message,
                           std::function<void(bool)> completion) {
  if (access(path.c_str(), R_OK) == 0 || errno == ENOENT)
    return RunLoop::main().dispatch([completion = std::move(completion)] { completion(true); });
  OpenRequest request;
  request.title = message;
  request.directory = path.parent_path();
  chooseFilesToOpen(request, [path, completion = std::move(completion)](const auto& chosen) {
    completion(chosen.size() == 1 && chosen[0].lexically_normal() == path.lexically_normal() &&
               access(path.c_str(), R_OK) == 0);
  });
}

}  // namespace qw

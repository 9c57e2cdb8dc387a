#include <store/model/QWDatabaseManager.h>

#include <cstdio>

class Project;

class Task : public QWDatabaseObject {
 public:
  static const qw::Class kClass;
  const std::string& title() const { return title_; }
  void setTitle(std::string title) { assign<&Task::title_>(std::move(title)); }
  bool isDone() const { return done_; }
  void setDone(bool done) { assign<&Task::done_>(done); }

 private:
  qw::Back<Project> project_;
  std::string title_;
  bool done_ = false;
};

class Project : public QWDatabaseObject {
 public:
  static const qw::Class kClass;
  qw::Children<Task>& tasks() { return tasks_; }

 private:
  qw::Children<Task> tasks_;
};

constinit const qw::Class Task::kClass = qw::define<Task, QWDatabaseObject>("Task", {.table = "Task"}, [] {
  return qw::properties(qw::parent<&Task::project_>("project", "tasks"),
                        qw::attribute<&Task::title_>("title"), qw::attribute<&Task::done_>("done"));
});
constinit const qw::Class Project::kClass = qw::define<Project, QWDatabaseObject>(
    "Project", {.table = "Project"},
    [] { return qw::properties(qw::children<&Project::tasks_>("tasks", "project")); });

class ProjectFile : public QWDatabaseManager {
  const qw::Class& rootObjectClass() const override { return Project::kClass; }
  std::vector<const qw::Class*> modelClasses() const override { return {&Project::kClass, &Task::kClass}; }
};

int main(int, char** arguments) {
  qw::Error error;
  auto file = QWDatabaseManager::open<ProjectFile>(arguments[1], {}, &error);  // made when it is not there
  if (!file) return std::fprintf(stderr, "%s\n", error.localizedDescription.c_str()), 1;
  auto project = file->rootObjectAs<Project>();
  auto observation = project->observe("tasks.@count", [](const qw::Change& change) {
    std::printf("tasks: %s\n", change.newValue.description().c_str());
  });
  auto task = file->create<Task>();
  task->setTitle("Write a model class");
  project->tasks().add(task);
  file->undoManager()->undo();
  file->undoManager()->redo();
  if (!file->save(&error)) return std::fprintf(stderr, "%s\n", error.localizedDescription.c_str()), 1;
  for (Task& saved : project->tasks()) std::printf("%s\n", saved.title().c_str());
}

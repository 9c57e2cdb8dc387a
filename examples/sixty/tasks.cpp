#include <store/model/QWDatabaseManager.h>

#include <cstdio>

class Project;

class Task : public QWDatabaseObject {
 public:
  static const qw::Class kClass;
  qw::Stored<qw::Back<Project>> project;
  qw::Stored<std::string> title;
  qw::Stored<bool> done;
};

class Project : public QWDatabaseObject {
 public:
  static const qw::Class kClass;
  qw::Children<Task> tasks;
};

constinit const qw::Class Task::kClass = qw::define<Task, QWDatabaseObject>("Task", {.table = "Task"}, [] {
  return qw::properties(qw::parent<&Task::project>("project", "tasks"), qw::attribute<&Task::title>("title"),
                        qw::attribute<&Task::done>("done"));
});
constinit const qw::Class Project::kClass = qw::define<Project, QWDatabaseObject>(
    "Project", {.table = "Project"},
    [] { return qw::properties(qw::children<&Project::tasks>("tasks", "project")); });

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
  auto task = project->tasks.create();
  task->set<&Task::title>("Write a model class");
  file->undoManager()->undo();
  file->undoManager()->redo();
  if (!file->save(&error)) return std::fprintf(stderr, "%s\n", error.localizedDescription.c_str()), 1;
  for (Task& saved : project->tasks) std::printf("%s\n", saved.title->c_str());
}

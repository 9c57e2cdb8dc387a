#include "platform/loop/NotificationCenter.h"

#include <mutex>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace qw {

namespace {

struct KeyView {
  NotificationName name;
  const void* sender;
};

struct Key {
  explicit Key(KeyView view) : text(view.name.text()), hash(view.name.hash()), sender(view.sender) {}
  std::string text;
  std::uint64_t hash;
  const void* sender;
};

struct KeyHash {
  using is_transparent = void;
  std::size_t operator()(const KeyView& key) const {
    return key.name.hash() ^ std::hash<const void*>()(key.sender);
  }
  std::size_t operator()(const Key& key) const { return key.hash ^ std::hash<const void*>()(key.sender); }
};

struct KeyEqual {
  using is_transparent = void;
  template <class A, class B>
  bool operator()(const A& a, const B& b) const {
    return a.sender == b.sender && text(a) == text(b);
  }
  static std::string_view text(const Key& key) { return key.text; }
  static std::string_view text(const KeyView& key) { return key.name.text(); }
};

// Null once the observation has ended.
struct Observer {
  std::shared_ptr<const NotificationCenter::Callback> callback;
};

// The observers of one name and sender. Ended ones stay until no post walks the list and they are the greater
// part.
struct List {
  std::vector<std::shared_ptr<Observer>> observers;
  std::size_t ended = 0;
  int posts = 0;
};

}  // namespace

struct NotificationCenter::State {
  std::mutex mutex;
  std::unordered_map<Key, std::shared_ptr<List>, KeyHash, KeyEqual> lists;

  // The list that a post walks, and how far: what is added later is not told.
  struct Walk {
    std::shared_ptr<List> list;
    std::size_t count = 0;
  };
  Walk begin(KeyView key) {
    const auto found = lists.find(key);
    if (found == lists.end()) return {};
    ++found->second->posts;
    return {found->second, found->second->observers.size()};
  }
  void deliver(const Walk& walk, const Notification& notification);
  void end(const Walk& walk, KeyView key);
  void removeEnded(List& list, KeyView key);
};

void NotificationCenter::State::deliver(const Walk& walk, const Notification& notification) {
  for (std::size_t i = 0; i < walk.count; ++i) {
    std::shared_ptr<const Callback> callback;
    {
      std::lock_guard lock(mutex);
      callback = walk.list->observers[i]->callback;
    }
    if (callback) (*callback)(notification);
  }
}

void NotificationCenter::State::end(const Walk& walk, KeyView key) {
  if (!walk.list) return;
  std::lock_guard lock(mutex);
  --walk.list->posts;
  removeEnded(*walk.list, key);
}

void NotificationCenter::State::removeEnded(List& list, KeyView key) {
  if (list.posts > 0 || list.ended * 2 < list.observers.size()) return;
  std::erase_if(list.observers, [](const auto& observer) { return !observer->callback; });
  list.ended = 0;
  if (list.observers.empty())
    if (const auto found = lists.find(key); found != lists.end()) lists.erase(found);
}

NotificationCenter& NotificationCenter::defaultCenter() {
  static auto* center = new NotificationCenter;
  return *center;
}

NotificationCenter::NotificationCenter() : state_(std::make_shared<State>()) {}

NotificationCenter::~NotificationCenter() = default;

Registration NotificationCenter::observe(NotificationName name, const void* sender, Callback callback) {
  const auto observer =
      std::make_shared<Observer>(Observer{std::make_shared<const Callback>(std::move(callback))});
  const Key key(KeyView{name, sender});
  std::shared_ptr<List> list;
  {
    std::lock_guard lock(state_->mutex);
    auto& place = state_->lists[key];
    if (!place) place = std::make_shared<List>();
    list = place;
    list->observers.push_back(observer);
  }
  return Registration([weakState = std::weak_ptr(state_), observer, list, key] {
    const auto state = weakState.lock();
    if (!state) return;
    std::shared_ptr<const Callback> ended;  // destroyed after the lock is given back
    std::lock_guard lock(state->mutex);
    ended = std::exchange(observer->callback, nullptr);
    ++list->ended;
    state->removeEnded(*list, {NotificationName(key.text), key.sender});
  });
}

void NotificationCenter::post(NotificationName name, const void* sender) {
  const std::shared_ptr<State> state = state_;
  const KeyView ofSender{name, sender}, ofAny{name, nullptr};
  State::Walk first, second;
  {
    std::lock_guard lock(state->mutex);
    if (sender) first = state->begin(ofSender);
    second = state->begin(ofAny);
  }
  const Notification notification{name, sender};
  state->deliver(first, notification);
  state->deliver(second, notification);
  state->end(first, ofSender);
  state->end(second, ofAny);
}

}  // namespace qw

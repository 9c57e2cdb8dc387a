#include "values/collections/QWCountedSet.h"

#include <algorithm>

#include "platform/system/Collation.h"

namespace {

constexpr std::size_t kLongList = 32;

bool isBefore(const qw::Value& a, const qw::Value& b) {
  if (a.text() && b.text()) {
    const auto order = qw::Collation::localizedCaseInsensitiveCompare(*a.text(), *b.text());
    if (order != 0) return order < 0;
  }
  return qw::Value::compare(a, b) < 0;
}

}  // namespace

void QWCountedSet::WeakList::append(const std::shared_ptr<qw::Object>& object) {
  if (places_.size() == places_.capacity()) removeEmpty();
  if (index_) index_->emplace(object.get(), places_.size());
  places_.push_back(object);
}

void QWCountedSet::WeakList::removeFirst(const std::shared_ptr<qw::Object>& object) {
  const auto holds = [&](const std::weak_ptr<qw::Object>& place) { return place.lock() == object; };
  if (places_.size() < kLongList) {
    const auto found = std::find_if(places_.begin(), places_.end(), holds);
    if (found != places_.end()) places_.erase(found);
    index_.reset();
    return;
  }
  if (!index_) makeIndex();
  // The index may still know a dead object that lay at the same address.
  auto first = index_->end();
  for (auto [entry, end] = index_->equal_range(object.get()); entry != end; ++entry)
    if (holds(places_[entry->second]) && (first == index_->end() || entry->second < first->second))
      first = entry;
  if (first == index_->end()) return;
  places_[first->second].reset();
  index_->erase(first);
  if (++taken_ * 2 > places_.size()) removeEmpty();
}

std::vector<std::shared_ptr<qw::Object>> QWCountedSet::WeakList::objects() const {
  std::vector<std::shared_ptr<qw::Object>> objects;
  for (const auto& place : places_)
    if (auto object = place.lock()) objects.push_back(std::move(object));
  return objects;
}

void QWCountedSet::WeakList::removeEmpty() {
  if (std::erase_if(places_, [](const auto& place) { return place.expired(); }) > 0) index_.reset();
  taken_ = 0;
}

void QWCountedSet::WeakList::makeIndex() {
  index_.emplace();
  for (std::size_t i = 0; i < places_.size(); ++i)
    if (const auto object = places_[i].lock()) index_->emplace(object.get(), i);
}

std::size_t QWCountedSet::countForObject(const qw::Value& element) const {
  const auto found = elements_.find(element);
  return found == elements_.end() ? 0 : found->second.count;
}

const qw::Array& QWCountedSet::sortedObjects() const {
  if (!sorted_) {
    std::vector<std::pair<std::size_t, const qw::Value*>> ranks;
    ranks.reserve(elements_.size());
    for (const auto& [value, element] : elements_) ranks.emplace_back(element.count, &value);
    std::sort(ranks.begin(), ranks.end(), [](const auto& a, const auto& b) {
      return a.first != b.first ? a.first > b.first : isBefore(*a.second, *b.second);
    });
    sorted_.emplace();
    sorted_->reserve(ranks.size());
    for (const auto& rank : ranks) sorted_->push_back(*rank.second);
  }
  return *sorted_;
}

std::vector<std::shared_ptr<qw::Object>> QWCountedSet::representedObjects(const qw::Value& element) const {
  const auto found = elements_.find(element);
  if (found == elements_.end()) return {};
  return found->second.representedObjects.objects();
}

void QWCountedSet::addObject(const qw::Value& element, const std::shared_ptr<qw::Object>& representedObject) {
  Element& entry = elements_[element];
  ++entry.count;
  if (representedObject) entry.representedObjects.append(representedObject);
  sorted_.reset();
}

void QWCountedSet::removeObject(const qw::Value& element,
                                const std::shared_ptr<qw::Object>& representedObject) {
  const auto found = elements_.find(element);
  if (found == elements_.end()) return;
  if (representedObject) found->second.representedObjects.removeFirst(representedObject);
  if (--found->second.count == 0) elements_.erase(found);
  sorted_.reset();
}

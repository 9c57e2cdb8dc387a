// The numbers by which the file keeps the order of children.
#include <algorithm>

#include "store/model/ChildList.h"
#include "store/model/QWDatabaseManager.h"
#include "store/model/QWDatabaseObject.h"
#include "store/model/internal/EditLog.h"

namespace qw {

namespace {

/// Numbers lie apart, so that an insertion finds one between its neighbours'. The first leaves the same room
/// in front; a list of four million children stays within 32 bits.
constexpr std::int64_t kFirst = std::int64_t{1} << 30;
constexpr std::int64_t kStep = 256;
constexpr std::int64_t kEnd = std::int64_t{1} << 62;

/// Which of the numbers to keep so that as many as possible stand in ascending order: the longest increasing
/// subsequence of those above `low` and below `high`, as their places.
std::vector<std::size_t> longestAscending(const std::vector<std::int64_t>& numbers, std::int64_t low,
                                          std::int64_t high) {
  std::vector<std::size_t> ends;  // ends[n]: the smallest last number of an ascending row of n + 1
  std::vector<std::size_t> before(numbers.size());
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    if (numbers[i] <= low || numbers[i] >= high) continue;
    const auto place = std::lower_bound(ends.begin(), ends.end(), numbers[i],
                                        [&](std::size_t end, std::int64_t n) { return numbers[end] < n; });
    if (place != ends.begin()) before[i] = *(place - 1);
    if (place == ends.end())
      ends.push_back(i);
    else
      *place = i;
  }
  std::vector<std::size_t> kept(ends.size());
  for (std::size_t n = kept.size(), at = n ? ends.back() : 0; n-- > 0; at = before[at]) kept[n] = at;
  return kept;
}

/// `count` ascending numbers between two others, none of them among the sorted `taken`. Requires: room.
std::vector<std::int64_t> numbersBetween(std::int64_t low, std::int64_t high, std::size_t count,
                                         const std::vector<std::int64_t>& taken) {
  const auto n = static_cast<std::int64_t>(count);
  const std::int64_t step = std::min(kStep, (high - low) / (n + 1));
  std::int64_t first = low + step;
  if (low < 0 && high == kEnd)
    first = kFirst < kEnd - n * step ? kFirst : 0;
  else if (low < 0)
    first = high - n * step;
  else if (high < kEnd)
    first = low + (high - low - (n - 1) * step) / 2;
  std::vector<std::int64_t> numbers;
  const auto fill = [&](std::int64_t from, std::int64_t step) {
    numbers.clear();
    auto used = std::lower_bound(taken.begin(), taken.end(), from);
    for (std::int64_t number = from; numbers.size() < count; number += step) {
      used = std::lower_bound(used, taken.end(), number);
      for (; used != taken.end() && *used == number; ++used) ++number;
      if (number >= high) return false;
      numbers.push_back(number);
    }
    return true;
  };
  if (!fill(first, std::max<std::int64_t>(1, step))) fill(low + 1, 1);
  return numbers;
}

}  // namespace

ChildList::Edits& ChildList::edits() {
  if (!edits_) {
    edits_ = std::make_unique<Edits>();
    if (QWDatabaseManager* manager = owner_->databaseManager())
      manager->edits().noteEditedList(*owner_, *this);
  }
  return *edits_;
}

bool ChildList::isNumber(std::int64_t number) { return number >= 0 && number < kEnd; }

/// Whether the child was here when the numbers were given. It has the number of then, which stays released
/// until it is known whether that is in order: the row may come to have another one, and that write may fail.
bool ChildList::takesBack(QWDatabaseObject& child) {
  if (edits_) {
    const auto former = edits_->released.find(child.order_);
    if (former != edits_->released.end() && former->second.child.get() == &child) return true;
  }
  child.order_ = -1;
  return false;
}

void ChildList::markUnplaced(QWDatabaseObject& child) {
  child.unplaced_ = true;
  edits().unplaced.push_back(child.sharedAs<QWDatabaseObject>());
}

/// A new child at the end or at the front gets its number at once, so that lists that only grow leave nothing
/// to do for a save.
void ChildList::place(QWDatabaseObject& child, std::size_t index) {
  const std::size_t last = items_.size() - 1;
  const QWDatabaseObject* neighbour = last == 0 ? nullptr : items_[index == last ? last - 1 : 1].get();
  if (child.order_ >= 0 || (index != last && index != 0) ||
      (neighbour && (neighbour->unplaced_ || neighbour->order_ > kEnd / 2)))
    return markUnplaced(child);
  const int away = index == last ? 1 : -1;
  std::int64_t number = neighbour ? neighbour->order_ + away * kStep : kFirst;
  while (edits_ && edits_->released.contains(number)) number += away;
  if (!isNumber(number)) return markUnplaced(child);
  child.order_ = number;
  child.unplaced_ = false;
  // The row has another number even when undo brings the child back to a parent that it never left in the
  // file.
  if (child.row_.rowID() > 0) child.row_.force();
}

std::vector<std::size_t> ChildList::unplacedIndexes() {
  std::vector<std::size_t> indexes;
  const auto children = std::exchange(edits_->unplaced, {});
  if (children.size() > items_.size() / 8) {
    std::size_t index = 0;
    for (const auto& child : items_) {
      if (child->unplaced_) indexes.push_back(index);
      ++index;
    }
    return indexes;
  }
  for (const auto& child : children)
    if (child->unplaced_ && items_.contains(*child)) indexes.push_back(Objects::indexOf(*child));
  std::sort(indexes.begin(), indexes.end());
  indexes.erase(std::unique(indexes.begin(), indexes.end()), indexes.end());
  return indexes;
}

void ChildList::number() {
  if (!edits_) return;
  const auto eachRun = [](const std::vector<std::size_t>& indexes, auto visit) {
    for (std::size_t i = 0; i < indexes.size();) {
      const std::size_t begin = i;
      while (++i < indexes.size() && indexes[i] == indexes[i - 1] + 1) {
      }
      visit(indexes[begin], indexes[i - 1] + 1);
    }
  };
  auto indexes = unplacedIndexes();
  eachRun(indexes, [&](std::size_t begin, std::size_t end) { keepNumbersInOrder(begin, end); });
  std::erase_if(indexes, [&](std::size_t index) { return !items_[index]->unplaced_; });
  for (const std::size_t index : indexes) release(*items_[index]);
  std::size_t done = 0;
  eachRun(indexes, [&](std::size_t begin, std::size_t end) {
    if (begin >= done) done = numberRun(begin, end);
  });
}

/// Of children in a row that moved, those stay as they are in the file whose numbers are in order.
void ChildList::keepNumbersInOrder(std::size_t begin, std::size_t end) {
  std::vector<std::int64_t> numbers;
  numbers.reserve(end - begin);
  for (std::size_t i = begin; i < end; ++i) numbers.push_back(items_[i]->order_);
  const std::int64_t low = begin > 0 ? items_[begin - 1]->order_ : -1;
  const std::int64_t high = end < items_.size() ? items_[end]->order_ : kEnd;
  for (const std::size_t kept : longestAscending(numbers, low, high)) {
    QWDatabaseObject& child = *items_[begin + kept];
    child.unplaced_ = false;
    const auto released = edits_->released.find(child.order_);
    if (released != edits_->released.end() && released->second.child.get() == &child)
      edits_->released.erase(released);
  }
}

/// Takes neighbours in until there is room, the more of it the more of them: so a place where insertions go
/// on and on has to be cleared in ever longer intervals. Answers the end of what was numbered.
std::size_t ChildList::numberRun(std::size_t begin, std::size_t end) {
  std::int64_t low = -1, high = kEnd;
  std::vector<std::int64_t> taken;
  std::size_t width = 4;
  double room = 1;
  for (;;) {
    low = begin > 0 ? items_[begin - 1]->order_ : -1;
    high = end < items_.size() ? items_[end]->order_ : kEnd;
    taken.clear();
    const auto last = edits_->released.lower_bound(high);
    for (auto i = edits_->released.upper_bound(low); i != last; ++i) taken.push_back(i->first);
    for (std::size_t i = begin; i < end; ++i)
      if (!items_[i]->unplaced_) taken.push_back(items_[i]->order_);
    const auto count = static_cast<double>(end - begin);
    const auto free = static_cast<double>(high - low - 1) - static_cast<double>(taken.size());
    if (free >= count * room || (begin == 0 && end == items_.size())) break;
    room = room < 2 ? 2 : room * 1.25;
    width *= 2;
    begin -= std::min(begin, width);
    end += std::min(items_.size() - end, width);
    while (end < items_.size() && items_[end]->unplaced_) ++end;
  }
  std::sort(taken.begin(), taken.end());
  const auto numbers = numbersBetween(low, high, end - begin, taken);
  for (std::size_t i = begin; i < end; ++i) setNumber(*items_[i], numbers[i - begin]);
  return end;
}

void ChildList::release(QWDatabaseObject& child) {
  if (child.order_ < 0) return;
  const QWDatabaseManager* manager = owner_->databaseManager();
  edits().released.insert_or_assign(child.order_, Released{child.sharedAs<QWDatabaseObject>(),
                                                           manager ? manager->edits().computations() : 0});
}

void ChildList::setNumber(QWDatabaseObject& child, std::int64_t number) {
  child.willModify();
  if (!child.unplaced_) release(child);
  child.order_ = number;
  child.unplaced_ = false;
  child.row_.force();
  if (QWDatabaseManager* manager = owner_->databaseManager()) manager->edits().queue(child);
}

bool ChildList::forgetWrittenNumbers() {
  std::erase_if(edits_->released, [](const auto& entry) {
    const auto& [child, computation] = entry.second;
    return child->row_.written() > computation || !child->mayHaveRow();
  });
  if (!edits_->released.empty() || !edits_->unplaced.empty()) return false;
  edits_.reset();
  return true;
}

}  // namespace qw

#include "store/columns/QWSynchronizationChange.h"

#include <utility>

#include "values/text/QWStringAdditions.h"

QWSynchronizationChange::QWSynchronizationChange(std::string title)
    : title(std::move(title)), id_(QWStringAdditions::uniqueID()) {}

const QWSynchronizationChange::Side& QWSynchronizationChange::LazySide::get() const {
  if (const MakeSide make = std::exchange(make_, nullptr)) side_ = make();
  return side_;
}

void QWSynchronizationChange::show(MakeSide mine, MakeSide other) {
  side_ = LazySide(std::move(mine));
  otherSide_ = LazySide(std::move(other));
}

void QWSynchronizationChange::show(std::string value, std::string otherValue) {
  show(
      [value = std::move(value)] {
        return Side{value, {}, {}};
      },
      [value = std::move(otherValue)] {
        return Side{value, {}, {}};
      });
}

void QWSynchronizationChange::applyChoice() const {
  const auto& chosen = keepOther ? otherBlock : block;
  if (chosen) chosen();
}

#include "store/columns/QWSynchronizationChange.h"

#include "values/text/QWStringAdditions.h"

QWSynchronizationChange::QWSynchronizationChange(std::string title)
    : title(std::move(title)), id_(QWStringAdditions::uniqueID()) {}

void QWSynchronizationChange::show(Side mine, Side other) {
  value = std::move(mine.text);
  image = std::move(mine.image);
  imageText = std::move(mine.imageText);
  otherValue = std::move(other.text);
  otherImage = std::move(other.image);
  otherImageText = std::move(other.imageText);
}

void QWSynchronizationChange::applyChoice() const {
  const auto& chosen = keepOther ? otherBlock : block;
  if (chosen) chosen();
}

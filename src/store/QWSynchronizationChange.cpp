#include "store/QWSynchronizationChange.h"

#include "values/QWStringAdditions.h"

QWSynchronizationChange::QWSynchronizationChange(std::string title)
    : title(std::move(title)), id_(QWStringAdditions::uniqueID()) {}

void QWSynchronizationChange::applyChoice() const {
  const auto& chosen = keepOther ? otherBlock : block;
  if (chosen) chosen();
}

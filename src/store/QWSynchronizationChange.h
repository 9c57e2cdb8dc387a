#pragma once

#include <functional>
#include <optional>
#include <string>

#include "platform/Image.h"

/// One difference between an object of this store and its counterpart in another: what both sides show, which
/// side is chosen, and how either choice is carried out. A record; who proposes and reviews it lies further
/// up.
class QWSynchronizationChange {
 public:
  explicit QWSynchronizationChange(std::string title);

  /// Unique, made with the change.
  const std::string& ID() const { return id_; }

  std::string title;
  std::string value;
  std::optional<qw::Image> image;
  /// Writes this side's value into the other side's object.
  std::function<void()> block;
  std::string otherValue;
  std::optional<qw::Image> otherImage;
  /// Writes the other side's value into this side's original object.
  std::function<void()> otherBlock;
  /// The choice: true takes the other side's value.
  bool keepOther = false;

  /// Runs the chosen closure; nothing happens when there is none.
  void applyChoice() const;

 private:
  std::string id_;
};

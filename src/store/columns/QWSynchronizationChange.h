#pragma once

#include <functional>
#include <optional>
#include <string>

#include "platform/base/Export.h"
#include "platform/base/Image.h"

/// One difference between an object of this store and its counterpart in another: what both sides show, which
/// side is chosen, and how either choice is carried out. A record; who proposes and reviews it lies further
/// up. The closures keep the objects that they are about.
class QW_EXPORT QWSynchronizationChange {
 public:
  /// What a value looks like.
  struct Side {
    std::string text;
    std::optional<qw::Image> image;
    /// What the image says, for who cannot see it.
    std::string imageText;
  };

  explicit QWSynchronizationChange(std::string title);

  /// Unique, made with the change.
  const std::string& ID() const { return id_; }

  /// What changed; empty for the creation or deletion of a whole object.
  std::string title;
  std::string value;
  std::optional<qw::Image> image;
  std::string imageText;
  /// Writes this side's value into the other side's object.
  std::function<void()> block;
  std::string otherValue;
  std::optional<qw::Image> otherImage;
  std::string otherImageText;
  /// Writes the other side's value into this side's original object.
  std::function<void()> otherBlock;
  /// The choice: true takes the other side's value.
  bool keepOther = false;

  void show(Side mine, Side other);
  /// Runs the chosen closure once; nothing happens when there is none.
  void applyChoice() const;

 private:
  std::string id_;
};

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
    /// The value for people; empty where the image says it.
    std::string text;
    /// A picture of the value; none for a value that is a text.
    std::optional<qw::Image> image;
    /// What the image shows, for accessibility.
    std::string imageText;
  };

  /// Makes the change and its ID.
  explicit QWSynchronizationChange(std::string title);

  /// Unique, made with the change.
  const std::string& ID() const { return id_; }

  /// What changed; empty for the creation or deletion of a whole object.
  std::string title;
  /// This side's text.
  std::string value;
  std::optional<qw::Image> image;  ///< this side's picture
  std::string imageText;           ///< what it shows
  /// Writes this side's value into the other side's object.
  std::function<void()> block;
  /// The other side's text.
  std::string otherValue;
  std::optional<qw::Image> otherImage;  ///< the other side's picture
  std::string otherImageText;           ///< what it shows
  /// Writes the other side's value into this side's original object.
  std::function<void()> otherBlock;
  /// The choice: true takes the other side's value.
  bool keepOther = false;

  /// Fills in what both sides show.
  void show(Side mine, Side other);
  /// Runs the chosen closure once; nothing happens when there is none.
  void applyChoice() const;

 private:
  std::string id_;
};

#pragma once

#include <functional>
#include <optional>
#include <string>

#include "platform/base/Export.h"
#include "platform/base/Image.h"

/// One difference between an object of this store and its counterpart in another: what both sides show, which
/// side is chosen, and how either choice is carried out. A record; who proposes and reviews it lies further
/// up. The closures keep the objects that they are about. One thread at a time.
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
  /// Called at most once, when the side is first looked at.
  using MakeSide = std::function<Side()>;

  /// Makes the change and its ID.
  explicit QWSynchronizationChange(std::string title);

  /// Unique, made with the change.
  const std::string& ID() const { return id_; }

  /// What changed; empty for the creation or deletion of a whole object.
  std::string title;
  /// Writes this side's value into the other side's object.
  std::function<void()> block;
  /// Writes the other side's value into this side's original object.
  std::function<void()> otherBlock;
  /// The choice: true takes the other side's value.
  bool keepOther = false;

  /// What the sides show. Made when it is first asked for: ask before any choice is applied.
  const Side& side() const { return side_.get(); }
  /// What the other side shows, as `side`.
  const Side& otherSide() const { return otherSide_.get(); }
  /// This side's text.
  const std::string& value() const { return side().text; }
  /// This side's picture.
  const std::optional<qw::Image>& image() const { return side().image; }
  /// What that shows.
  const std::string& imageText() const { return side().imageText; }
  /// The other side's text.
  const std::string& otherValue() const { return otherSide().text; }
  /// The other side's picture.
  const std::optional<qw::Image>& otherImage() const { return otherSide().image; }
  /// What that shows.
  const std::string& otherImageText() const { return otherSide().imageText; }

  /// Fills in both sides; each runs once, when it is first looked at. An empty one shows nothing.
  void show(MakeSide mine, MakeSide other);
  /// Fills in texts alone.
  void show(std::string value, std::string otherValue);
  /// Runs the chosen closure once; nothing happens when there is none.
  void applyChoice() const;

 private:
  class LazySide {
   public:
    LazySide() = default;
    explicit LazySide(MakeSide make) : make_(std::move(make)) {}
    const Side& get() const;

   private:
    mutable MakeSide make_;
    mutable Side side_;
  };

  std::string id_;
  LazySide side_, otherSide_;
};

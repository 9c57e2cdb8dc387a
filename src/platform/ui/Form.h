#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/base/Export.h"
#include "platform/ui/Control.h"

namespace qw {

/// Controls that are shown together, one below the other, with a table beneath them if it has rows: what a
/// controller hands to a presenter as the accessory of a question. Observed by key ("controls", "table",
/// "labelFontSize"). Main thread.
class QW_EXPORT Form : public Object {
 public:
  /// Texts by row and column.
  using Table = std::vector<std::vector<std::string>>;
  /// In the order in which they are shown, none of them null.
  using Controls = std::vector<std::shared_ptr<Control>>;

  static const Class kClass;
  /// A form without a table.
  static std::shared_ptr<Form> make(Controls controls);

  /// The controls, from the top.
  const Controls& controls() const { return controls_; }
  /// Replaces them all and notifies the observers.
  void setControls(Controls controls) { assign<&Form::controls_>(std::move(controls)); }
  /// Texts by row; the first row holds the titles of the columns.
  const Table& table() const { return table_; }
  /// Replaces the table and notifies the observers; an empty one is not shown.
  void setTable(Table table) { assign<&Form::table_>(std::move(table)); }
  /// In points; 0 leaves it to the presenter.
  double labelFontSize() const { return labelFontSize_; }
  /// Notifies the observers when it changes.
  void setLabelFontSize(double size) { assign<&Form::labelFontSize_>(size); }

 private:
  Controls controls_;
  Table table_;
  double labelFontSize_ = 0;
};

}  // namespace qw

#include "platform/ui/Form.h"

#include "platform/object/Property.h"

namespace qw {

constinit const Class Form::kClass = define<Form, Object>("Form", {}, [] {
  return properties(property<&Form::controls_>("controls"), property<&Form::table_>("table"),
                    property<&Form::labelFontSize_, &Form::setLabelFontSize>("labelFontSize"));
});

std::shared_ptr<Form> Form::make(Controls controls) {
  auto form = qw::make<Form>();
  form->controls_ = std::move(controls);
  return form;
}

}  // namespace qw

#include "store/model/QWLibraryObject.h"

constinit const qw::Class QWLibraryObject::kClass =
    qw::define<QWLibraryObject, QWDatabaseObject>("QWLibraryObject", {}, [] {
      using Object = QWLibraryObject;
      auto icon = qw::attribute<&Object::icon_, &Object::setIcon>(
          "icon", {.localizationKey = "LibraryObject.icon", .dependsOn = {"defaultIcon"}});
      icon.stored = icon.get;
      icon.get = &qw::detail::Access<&Object::icon>::get;  // the default icon where none is stored
      icon.view = nullptr;
      return qw::properties(
          qw::classColumn(),
          qw::attribute<&Object::name_, &Object::setName>("name", {.localizationKey = "LibraryObject.name"}),
          icon,
          qw::attribute<&Object::hidden_, &Object::setHidden>("hidden",
                                                              {.localizationKey = "LibraryObject.hidden"}),
          qw::derived<&Object::rawIcon>("rawIcon", {"icon"}), qw::derived<&Object::isLeaf>("isLeaf"),
          qw::derived<&Object::defaultIcon>("defaultIcon"),
          qw::derived<&Object::roundedIcon>("roundedIcon", {"icon", "defaultIcon"}));
    });

void QWLibraryObject::initWithDatabaseManager(QWDatabaseManager& manager) {
  QWDatabaseObject::initWithDatabaseManager(manager);
  setName({});
}

void QWLibraryObject::setIcon(const std::optional<qw::Image>& icon) {
  if (icon && icon_ && icon->isIdentical(*icon_)) return;
  auto fitted = icon ? icon->resizedToFit(kIconSize) : std::nullopt;
  assign<&QWLibraryObject::icon_>(std::move(fitted));
}

std::optional<qw::Image> QWLibraryObject::roundedIcon() const {
  if (!icon_) return defaultIcon();
  if (!roundedFrom_ || !roundedFrom_->isIdentical(*icon_)) {
    roundedIcon_ = icon_->rounded({24, 24}, 2);
    roundedFrom_ = icon_;
  }
  return roundedIcon_;
}

#include "Person.h"

constinit const qw::Class Person::kClass = qw::define<Person, qw::Object>("Person", {}, [] {
  return qw::properties(qw::property<&Person::name_, &Person::setName>("name"),
                        qw::property<&Person::city_, &Person::setCity>("city"),
                        qw::property<&Person::boss_>("boss"), qw::property<&Person::friends_>("friends"),
                        qw::derived<&Person::label>("label", {"name", "city"}));
});

void Person::addFriend(std::shared_ptr<Person> person) {
  qw::ChangeScope change(*this, "friends");
  friends_.push_back(std::move(person));
}

void Person::rename(qw::UndoManager& undo, std::string name) {
  undo.registerUndo(*this, [this, &undo, before = name_] { rename(undo, before); });
  setName(std::move(name));
}

void Person::encodeWithCoder(qw::KeyedArchiver& coder) const {
  Object::encodeWithCoder(coder);
  coder.encodeObject(name_, "name");
  coder.encodeObjects(friends_, "friends");
  coder.encodeConditionalObject(boss_.lock(), "boss");
}

void Person::initWithCoder(qw::KeyedUnarchiver& coder) {
  Object::initWithCoder(coder);
  name_ = coder.decodeText("name");
  friends_ = coder.decodeObjects<Person>("friends");
  boss_ = coder.decodeObject<Person>("boss");
}

std::shared_ptr<Person> makePerson(std::string name, std::string city) {
  auto person = qw::make<Person>();
  person->setName(std::move(name));
  person->setCity(std::move(city));
  return person;
}

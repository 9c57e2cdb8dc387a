#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/files/KeyedArchiver.h"
#include "platform/files/KeyedUnarchiver.h"
#include "platform/object/Property.h"
#include "platform/object/UndoManager.h"

class Person : public qw::Object {
 public:
  static const qw::Class kClass;

  const std::string& name() const { return name_; }
  void setName(std::string name) { assign<&Person::name_>(std::move(name)); }
  const std::string& city() const { return city_; }
  void setCity(std::string city) { assign<&Person::city_>(std::move(city)); }
  Person* boss() const { return boss_.get(); }
  void setBoss(Person* boss) { assign<&Person::boss_>(boss); }
  void addFriend(std::shared_ptr<Person> person);
  std::string label() const { return name_ + ", " + city_; }

  void rename(qw::UndoManager& undo, std::string name);

  void encodeWithCoder(qw::KeyedArchiver& coder) const override;
  void initWithCoder(qw::KeyedUnarchiver& coder) override;

 private:
  std::string name_;
  std::string city_;
  std::vector<std::shared_ptr<Person>> friends_;
  qw::Back<Person> boss_;
};

std::shared_ptr<Person> makePerson(std::string name, std::string city);

#include <cstdlib>

#include "platform/files/KeyedArchiver.h"
#include "platform/files/KeyedUnarchiver.h"

namespace {

class Node : public qw::Object {
 public:
  static const qw::Class kClass;

  void encodeWithCoder(qw::KeyedArchiver& coder) const override {
    coder.encodeObject(name_, "name");
    coder.encodeConditionalObject(parent_.lock(), "parent");
    coder.encodeInt64(number_, "number");
    coder.encodeObjects(children_, "children");
  }
  void initWithCoder(qw::KeyedUnarchiver& coder) override {
    made_.push_back(sharedAs<Node>());
    name_ = coder.decodeText("name");
    parent_ = coder.decodeObject<Node>("parent");
    number_ = coder.decodeInt64("number");
    children_ = coder.decodeObjects<Node>("children");
  }
  /// Cuts the links between all objects, which may be cycles, also in what a failure left behind.
  static void dissolve() {
    for (const std::weak_ptr<Node>& made : std::exchange(made_, {})) {
      if (const std::shared_ptr<Node> node = made.lock()) node->children_.clear();
    }
  }

 private:
  static inline std::vector<std::weak_ptr<Node>> made_;
  std::string name_;
  std::weak_ptr<Node> parent_;
  std::int64_t number_ = 0;
  std::vector<std::shared_ptr<Node>> children_;
};

constinit const qw::Class Node::kClass =
    qw::define<Node, qw::Object>("Node", {}, [] { return qw::properties(); });

void check(const qw::Value& value) {
  qw::Error error;
  const std::optional<qw::Data> archive = qw::KeyedArchiver::archivedData(value, &error);
  if (!archive) {
    if (!error) std::abort();
    return;
  }
  const std::optional<qw::Value> again =
      qw::KeyedUnarchiver::unarchivedValue(archive->bytes(), {&Node::kClass}, &error);
  if (!again) std::abort();
  if (again->kind() != value.kind() || again->count() != value.count()) std::abort();
}

}  // namespace

// Bytes give a value or an error; what was read can be archived and read again.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  qw::ClassRegistry::add({&Node::kClass});
  qw::Error error;
  const std::optional<qw::Value> value =
      qw::KeyedUnarchiver::unarchivedValue({bytes, size}, {&Node::kClass}, &error);
  if (value.has_value() == static_cast<bool>(error)) std::abort();
  if (value) check(*value);
  Node::dissolve();
  return 0;
}

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>

#include "platform/files/KeyedArchiver.h"
#include "platform/files/KeyedUnarchiver.h"
#include "platform/files/RestorableState.h"
#include "platform/files/internal/KeyedArchiveLayout.h"
#include "support/Python.h"

namespace {

struct Length;

}  // namespace

template <>
struct qw::ValueTraits<Length> : qw::ExtensionTraits<Length> {};

namespace {

using namespace qw;

struct Store {
  int decoded = 0;
};

class Node : public Object {
 public:
  static const Class kClass;
  std::string name;
  Value any;
  std::vector<std::shared_ptr<Node>> children;
  std::weak_ptr<Node> parent;
  std::shared_ptr<Node> next;

  void encodeWithCoder(KeyedArchiver& coder) const override {
    coder.encodeObject(name, "name");
    coder.encodeObject(any, "any");
    coder.encodeObjects(children, "children");
    coder.encodeConditionalObject(parent.lock(), "parent");
    coder.encodeObject(next, "next");
  }
  void initWithCoder(KeyedUnarchiver& coder) override {
    if (Store* store = coder.context<Store>()) ++store->decoded;
    name = coder.decodeText("name");
    any = coder.decodeObject("any");
    children = coder.decodeObjects<Node>("children");
    parent = coder.decodeObject<Node>("parent");
    next = coder.decodeObject<Node>("next");
    if (name == "forbidden") coder.fail("A node must not have this name.");
  }
};
constinit const Class Node::kClass = define<Node, Object>("TestNode", {}, [] { return properties(); });

class Leaf : public Node {
 public:
  static const Class kClass;
};
constinit const Class Leaf::kClass = define<Leaf, Node>("TestLeaf", {}, [] { return properties(); });

class Other : public Object {
 public:
  static const Class kClass;
};
constinit const Class Other::kClass = define<Other, Object>("TestOther", {}, [] { return properties(); });

/// Of each name there is one.
class Shared : public Object {
 public:
  static const Class kClass;
  static const std::shared_ptr<Shared>& instance() {
    static const std::shared_ptr<Shared> shared = make<Shared>();
    return shared;
  }
  std::shared_ptr<Object> replacementAfterDecoding() override { return instance(); }
};
constinit const Class Shared::kClass = define<Shared, Object>("TestShared", {}, [] { return properties(); });

/// A value that is no object.
struct Length {
  static constexpr std::string_view kArchiveClass = "TestLength";
  std::int64_t metres = 0;

  std::size_t hash() const { return static_cast<std::size_t>(metres); }
  int compare(const Length& other) const { return metres < other.metres ? -1 : metres > other.metres; }
  std::string description() const { return std::to_string(metres); }
  void encodeWithCoder(KeyedArchiver& coder) const { coder.encodeInt64(metres, "metres"); }
  friend bool operator==(const Length&, const Length&) = default;
};

/// One without an archived form.
struct Fleeting {
  std::size_t hash() const { return 0; }
  int compare(const Fleeting&) const { return 0; }
  std::string description() const { return "fleeting"; }
  friend bool operator==(const Fleeting&, const Fleeting&) = default;
};

template <class T>
Value extension(const T& value) {
  return ExtensionTraits<T>::toValue(value);
}

const KeyedUnarchiver::Classes kClasses{&Node::kClass, &Shared::kClass};

std::shared_ptr<Node> node(std::string name) {
  auto node = make<Node>();
  node->name = std::move(name);
  return node;
}

Data archived(const Value& root) {
  Error error;
  const std::optional<Data> data = KeyedArchiver::archivedData(root, &error);
  EXPECT_TRUE(data) << error.localizedDescription;
  return data.value_or(Data());
}

std::shared_ptr<Node> copied(const std::shared_ptr<Node>& root) {
  Error error;
  auto copy = KeyedUnarchiver::unarchived<Node>(archived(root).bytes(), kClasses, &error);
  EXPECT_TRUE(copy) << error.localizedDescription;
  return copy ? copy : make<Node>();
}

/// Into a list; a text "@3" is the UID 3.
PropertyList::Index add(PropertyList& list, const Value& value) {
  if (const auto text = value.text())
    return text->starts_with('@') ? list.addUID(std::stoull(std::string(text->substr(1))))
                                  : list.addText(*text);
  std::vector<PropertyList::Index> keys, values;
  if (const Array* array = value.array()) {
    for (const Value& element : *array) values.push_back(add(list, element));
    return list.addArray(values);
  }
  if (const Dictionary* dictionary = value.dictionary()) {
    for (const auto& [key, element] : *dictionary) {
      keys.push_back(list.addText(key));
      values.push_back(add(list, element));
    }
    return list.addDictionary(keys, values);
  }
  return value == Value(1e300) ? list.addReal(1e300) : list.addInteger(value.int64Value());
}

/// The bytes of an archive with these objects behind "$null" and the first of them as root.
Data handMade(Array objects) {
  objects.insert(objects.begin(), "$null");
  PropertyList list;
  list.setRoot(add(list, Dictionary{{"$version", 100000},
                                    {"$archiver", "NSKeyedArchiver"},
                                    {"$top", Dictionary{{"root", "@1"}}},
                                    {"$objects", std::move(objects)}}));
  return *list.write();
}
/// An object, its class, and what else it leads to as "@3".
Array madeOf(const char* className, Dictionary parts, Value third = {}) {
  parts["$class"] = "@2";
  Array objects{std::move(parts), Dictionary{{"$classname", className}}};
  if (!third.isNull()) objects.push_back(std::move(third));
  return objects;
}

class KeyedArchiverTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    ClassRegistry::add({&Node::kClass, &Leaf::kClass, &Other::kClass, &Shared::kClass});
    KeyedUnarchiver::addValueClass(Length::kArchiveClass, [](KeyedUnarchiver& coder) {
      const Length length{coder.decodeInt64("metres")};
      if (length.metres < 0) coder.fail("A length is negative.");
      return extension(length);
    });
  }
};

TEST_F(KeyedArchiverTest, KeepsEveryKindOfValue) {
  const std::optional<Image> image = Image::colorIcon({0.5, 0.25, 1, 1}, {3, 2}, 2);
  ASSERT_TRUE(image);
  const Array values{nullptr,
                     true,
                     0,
                     std::numeric_limits<std::int64_t>::min(),
                     0.1,
                     -std::numeric_limits<double>::infinity(),
                     *Decimal::fromText("12345678901234567890123456789012345678e-40"),
                     Decimal::nan(),
                     "",
                     "Größe 😀",
                     "$null-like",
                     Date::fromMicroseconds(1700000000123457),
                     Date::fromSeconds(-62135596800),
                     Data::fromText("bytes"),
                     Data(),
                     Color{0.1, 0.2, 0.3, 0.4},
                     *image,
                     &Node::kClass,
                     Array{},
                     Array{1, nullptr, "a", Array{Dictionary{}}},
                     ValueSet{"b", "a"},
                     Dictionary{{"$class", 1}, {"", nullptr}, {"x", Dictionary{{"y", 2.5}}}},
                     extension(Length{7})};
  for (const Value& value : values) {
    Error error;
    const std::optional<Value> read = KeyedUnarchiver::unarchivedValue(archived(value).bytes(), {}, &error);
    ASSERT_TRUE(read) << value.description() << ": " << error.localizedDescription;
    EXPECT_EQ(read->kind(), value.kind());
    EXPECT_EQ(*read, value) << value.description();
  }
}

TEST_F(KeyedArchiverTest, KeepsScalarsByKeyAndAnswersNothingForMissingKeys) {
  KeyedArchiver archiver;
  archiver.encodeBool(true, "bool");
  archiver.encodeInt(-7, "int");
  archiver.encodeInt64(std::int64_t{1} << 40, "int64");
  archiver.encodeDouble(0.5, "double");
  archiver.encodeBytes(Data::fromText("xyz").bytes(), "bytes");
  archiver.encodeObject(Decimal(12), "decimal");
  archiver.encodeInt(1, "$top");
  archiver.encodeInt(2, "$$top");
  const std::optional<Data> data = archiver.finish();
  ASSERT_TRUE(data);
  const auto unarchiver = KeyedUnarchiver::open(data->bytes(), {});
  ASSERT_TRUE(unarchiver);
  EXPECT_TRUE(unarchiver->decodeBool("bool"));
  EXPECT_EQ(unarchiver->decodeInt("int"), -7);
  EXPECT_EQ(unarchiver->decodeInt64("int64"), std::int64_t{1} << 40);
  EXPECT_EQ(unarchiver->decodeDouble("double"), 0.5);
  EXPECT_EQ(unarchiver->decodeDouble("int"), -7);
  EXPECT_EQ(unarchiver->decodeBytes("bytes"), Data::fromText("xyz"));
  EXPECT_EQ(unarchiver->decodeDecimal("decimal"), Decimal(12));
  EXPECT_EQ(unarchiver->decodeInt("$top"), 1);
  EXPECT_EQ(unarchiver->decodeInt("$$top"), 2);
  EXPECT_TRUE(unarchiver->containsValueForKey("int"));
  EXPECT_FALSE(unarchiver->containsValueForKey("other"));
  EXPECT_FALSE(unarchiver->decodeBool("other"));
  EXPECT_EQ(unarchiver->decodeInt64("other"), 0);
  EXPECT_EQ(unarchiver->decodeText("other"), "");
  EXPECT_FALSE(unarchiver->decodeDate("other"));
  EXPECT_TRUE(unarchiver->decodeObject("other").isNull());
  EXPECT_FALSE(unarchiver->decodeObject<Node>("other"));
  EXPECT_TRUE(unarchiver->decodeObjects<Node>("other").empty());
  EXPECT_TRUE(unarchiver->finish());

  EXPECT_EQ(unarchiver->decodeInt("int64"), 0);  // too large: the first fault
  Error error;
  EXPECT_FALSE(unarchiver->finish(&error));
  EXPECT_EQ(error.code, keyed::kDamaged);
  EXPECT_EQ(unarchiver->decodeInt("int"), 0);
}

TEST_F(KeyedArchiverTest, KeepsIdentityCyclesAndOrder) {
  const auto root = node("root");
  for (int i = 0; i < 3; ++i) {
    root->children.push_back(i == 1 ? make<Leaf>() : node("child"));
    root->children.back()->parent = root;
  }
  root->children[0]->next = root->children[2];
  root->children[2]->next = root->children[0];
  root->any = Array{root->children[1], root->children[1]};
  const auto copy = copied(root);
  ASSERT_EQ(copy->children.size(), 3U);
  EXPECT_EQ(&copy->children[1]->objectClass(), &Leaf::kClass);
  EXPECT_EQ(copy->children[0]->next, copy->children[2]);
  EXPECT_EQ(copy->children[2]->next, copy->children[0]);
  for (const auto& child : copy->children) EXPECT_EQ(child->parent.lock(), copy);
  EXPECT_EQ(copy->any.array()->at(0).object(), copy->children[1]);
  EXPECT_EQ(copy->any.array()->at(1).object(), copy->children[1]);
  root->children[2]->next = copy->children[2]->next = nullptr;
}

TEST_F(KeyedArchiverTest, AContainerThatItsOwnElementSharesIsReadable) {
  const auto root = node("root");
  root->any = Array{root};
  auto copy = copied(root);
  EXPECT_EQ(copy->any.array()->at(0).object(), copy);

  const auto held = node("held");
  const Value shared = Array{held};
  held->any = shared;
  const std::optional<Value> read = KeyedUnarchiver::unarchivedValue(archived(shared).bytes(), kClasses);
  ASSERT_TRUE(read);
  const auto element = read->array()->at(0).objectAs<Node>();
  ASSERT_TRUE(element);
  EXPECT_EQ(element->any.array()->at(0).object(), element);
  root->any = held->any = copy->any = element->any = nullptr;
}

TEST_F(KeyedArchiverTest, AConditionalObjectIsKeptOnlyWhenSomethingElseKeepsIt) {
  const auto outside = node("outside");
  const auto root = node("root");
  root->parent = outside;
  EXPECT_FALSE(copied(root)->parent.lock());
  root->next = outside;  // encoded after the conditional one
  const auto copy = copied(root);
  ASSERT_TRUE(copy->next);
  EXPECT_EQ(copy->parent.lock(), copy->next);
}

TEST_F(KeyedArchiverTest, AnObjectMayBeReplacedAfterDecodingAndFindsTheContext) {
  const auto root = node("root");
  root->any = Array{make<Shared>(), make<Shared>()};
  root->next = node("next");
  Store store;
  const Data data = archived(root);
  const auto unarchiver = KeyedUnarchiver::open(data.bytes(), kClasses);
  ASSERT_TRUE(unarchiver);
  unarchiver->setContext(&store);
  const auto copy = unarchiver->decodeObject<Node>("root");
  ASSERT_TRUE(unarchiver->finish());
  EXPECT_EQ(store.decoded, 2);
  for (const Value& element : *copy->any.array()) EXPECT_EQ(element.object(), Shared::instance());
  unarchiver->setContext<Store>(nullptr);
  EXPECT_FALSE(unarchiver->context<Store>());
}

TEST_F(KeyedArchiverTest, RefusesWhatIsNotExpected) {
  const auto read = [](const Value& root, const KeyedUnarchiver::Classes& classes) {
    Error error;
    EXPECT_FALSE(KeyedUnarchiver::unarchived<Node>(archived(root).bytes(), classes, &error));
    return error;
  };
  const auto withOther = node("root");
  withOther->any = Array{make<Other>()};
  EXPECT_EQ(read(withOther, kClasses).code, keyed::kClassNotAllowed);
  EXPECT_NE(read(withOther, kClasses).localizedDescription.find("TestOther"), std::string::npos);
  EXPECT_EQ(read(node("a"), {&Leaf::kClass}).code, keyed::kClassNotAllowed);  // a superclass is not enough
  EXPECT_EQ(read(make<Other>(), {&Object::kClass}).code, keyed::kDamaged);    // allowed, but no node
  EXPECT_EQ(read(node("forbidden"), kClasses).localizedDescription, "A node must not have this name.");
  EXPECT_EQ(read(extension(Length{-1}), kClasses).code, keyed::kDamaged);
  EXPECT_EQ(read("a text", kClasses).code, keyed::kDamaged);
  EXPECT_EQ(read(nullptr, kClasses).code, keyed::kDamaged);

  Error error;
  EXPECT_FALSE(KeyedArchiver::archivedData(Array{extension(Fleeting{})}, &error));
  EXPECT_EQ(error.code, keyed::kUnrepresentable);
  EXPECT_FALSE(KeyedArchiver::archivedData("\xFF", &error));
  EXPECT_FALSE(KeyedUnarchiver::open(Data::fromText("no archive").bytes(), kClasses, &error));
  PropertyList list;
  list.setRoot(list.addDictionary({}, {}));
  EXPECT_FALSE(KeyedUnarchiver::open(list.write()->bytes(), kClasses, &error));
  EXPECT_EQ(error.code, keyed::kDamaged);
}

TEST_F(KeyedArchiverTest, AnswersDamagedObjectsWithAnError) {
  const Array cases[] = {
      {},  // no root
      {"@1"},
      {Array{"@1"}},
      {Dictionary{{"name", 1}}},
      {Dictionary{{"$class", "@1"}}},
      {Dictionary{{"$class", "@99"}}},
      {Dictionary{{"$class", "NSArray"}}},
      madeOf("NSArray", {{"NS.objects", Array{"@1"}}}),      // without an object on the way back to itself
      madeOf("NSSet", {{"NS.objects", Array{"@1", "@1"}}}),  // and one that would double at each step
      madeOf("NSArray", {{"NS.objects", "x"}}),
      madeOf("NSDictionary", {{"NS.keys", Array{"@3"}}, {"NS.objects", Array{}}}, "key"),
      madeOf("NSDictionary", {{"NS.keys", Array{"@3"}}, {"NS.objects", Array{"@3"}}}, 1),
      madeOf("NSDate", {{"NS.time", 1e300}}),
      madeOf("qw.Color", {{"value", Array{"@0", "@0", "@0"}}}),
      madeOf("TestNode", {{"name", 1}}),
      madeOf("TestNode", {{"children", "@1"}}),
  };
  for (const Array& objects : cases) {
    SCOPED_TRACE(Value(objects).description());
    Error error;
    EXPECT_FALSE(KeyedUnarchiver::unarchivedValue(handMade(objects).bytes(), kClasses, &error));
    EXPECT_EQ(error.domain, keyed::kErrorDomain);
    EXPECT_FALSE(error.localizedDescription.empty());
  }
}

TEST_F(KeyedArchiverTest, OneTextSharedByManyCannotFillTheMemory) {
  // 20,000 elements that are the same 100,000 bytes: 2 GB if they were all handed out.
  const Data bytes =
      handMade(madeOf("NSArray", {{"NS.objects", Array(20'000, "@3")}}, std::string(100'000, 'x')));
  Error error;
  EXPECT_FALSE(KeyedUnarchiver::unarchivedValue(bytes.bytes(), {}, &error));
  EXPECT_EQ(error.code, keyed::kTooLarge);
}

TEST_F(KeyedArchiverTest, RefusesAChainThatCouldNotBeReadAndReadsOneThatCould) {
  const auto chain = [](std::size_t length) {
    auto first = node("n");
    for (std::size_t i = 1; i < length; ++i) {
      auto before = node("n");
      before->next = std::move(first);
      first = std::move(before);
    }
    return first;
  };
  const auto lengthOf = [](const Node* node) {
    std::size_t length = 0;
    for (; node; node = node->next.get()) ++length;
    return length;
  };
  EXPECT_EQ(lengthOf(copied(chain(keyed::kDepth - 1)).get()), keyed::kDepth - 1);
  Error error;
  EXPECT_FALSE(KeyedArchiver::archivedData(chain(keyed::kDepth + 1), &error));
  EXPECT_EQ(error.code, keyed::kTooLarge);

  Array strangers;
  for (int i = 0; i < 100'000; ++i)
    strangers.push_back(Dictionary{{"next", "@" + std::to_string(i + 2)}, {"$class", "@100001"}});
  strangers.push_back(Dictionary{{"$classname", "TestNode"}});
  error = {};
  EXPECT_FALSE(KeyedUnarchiver::unarchivedValue(handMade(strangers).bytes(), kClasses, &error));
  EXPECT_EQ(error.code, keyed::kTooLarge);
}

TEST_F(KeyedArchiverTest, TenTimesTheObjectsAreTenTimesTheArchive) {
  const auto archiveOf = [](std::size_t count) {
    const auto root = node("root");
    root->children.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
      root->children.push_back(node("a common name"));
      root->children.back()->parent = root;
      root->children.back()->any = i;
    }
    return archived(root);
  };
  const Data small = archiveOf(10'000), large = archiveOf(100'000);
  EXPECT_LT(PropertyList::read(large.bytes())->size(), 10 * PropertyList::read(small.bytes())->size() + 100);
  EXPECT_LT(large.size(), 20 * small.size());  // references are four bytes instead of two
  const auto copy = KeyedUnarchiver::unarchived<Node>(large.bytes(), kClasses);
  ASSERT_TRUE(copy);
  ASSERT_EQ(copy->children.size(), 100'000U);
  EXPECT_EQ(copy->children.back()->any, Value(99'999));
  EXPECT_EQ(copy->children.back()->parent.lock(), copy);
}

TEST_F(KeyedArchiverTest, AnotherReaderFindsThePublishedLayout) {
  if (!Python::isAvailable()) GTEST_SKIP() << "needs python3";
  const auto root = node("root");
  root->children = {make<Leaf>()};
  root->children[0]->parent = root;
  Array many;
  for (int i = 0; i < 300; ++i) many.push_back("t" + std::to_string(i));
  root->any =
      Dictionary{{"date", Date::fromMicroseconds(1700000000500000)},
                 {"list", Array{1, "two", nullptr, -5, 255, 1 << 20, 2.5, true, Data::fromText("\x01")}},
                 {"größe", "日本 😀"},
                 {"many", many}};
  Python python;
  python.write("archive", archived(root).bytes());
  EXPECT_EQ(python.run(R"(
import plistlib
a = plistlib.load(open('archive', 'rb'), fmt=plistlib.FMT_BINARY)
o = a['$objects']
def get(uid):
    v = o[uid.data]
    if not isinstance(v, dict): return v
    c = o[v['$class'].data]
    name = c['$classname']
    assert c['$classes'][0] == name
    if name == 'NSArray': return [get(e) for e in v['NS.objects']]
    if name == 'NSDictionary': return dict(zip(map(get, v['NS.keys']), map(get, v['NS.objects'])))
    if name == 'NSDate': return v['NS.time']
    if name == 'NSNull': return None
    return v
print(a['$archiver'], a['$version'], o[0])
r = get(a['$top']['root'])
c = get(r['children'])[0]
d = get(r['any'])
assert d.pop('many') == ['t%d' % i for i in range(300)]
print(get(r['name']), ascii(sorted(d.items())), get(r['next']), c['parent'] == a['$top']['root'])
print(o[r['$class'].data]['$classes'], o[c['$class'].data]['$classes'])
)"),
            "NSKeyedArchiver 100000 $null\n"
            "root [('date', 721692800.5), ('gr\\xf6\\xdfe', '\\u65e5\\u672c \\U0001f600'), "
            "('list', [1, 'two', None, -5, 255, 1048576, 2.5, True, b'\\x01'])] $null True\n"
            "['TestNode', 'Object'] ['TestLeaf', 'TestNode', 'Object']\n");
}

TEST_F(KeyedArchiverTest, ReadsWhatAnotherWriterWrites) {
  if (!Python::isAvailable()) GTEST_SKIP() << "needs python3";
  Python python;
  ASSERT_EQ(python.run(R"(
import plistlib
U = plistlib.UID
o = ['$null',
     {'$class': U(2), 'name': U(3), 'next': U(1), 'any': U(4), 'unknown': 5},
     {'$classname': 'TestNode', '$classes': ['TestNode', 'NSObject']},
     'Größe',
     {'$class': U(5), 'NS.objects': [U(6 + i) if i else U(0) for i in range(70006)]},
     {'$classname': 'NSMutableArray', '$classes': ['NSMutableArray', 'NSArray', 'NSObject']},
     17, b'data', -1, 2**40, 0.25, True] + ['t%d' % i for i in range(70000)]
plistlib.dump({'$version': 100000, '$archiver': 'NSKeyedArchiver', '$top': {'root': U(1)}, '$objects': o},
              open('theirs', 'wb'), fmt=plistlib.FMT_BINARY)
)"),
            "");
  const std::string bytes = python.read("theirs");
  Error error;
  const auto read = KeyedUnarchiver::unarchived<Node>(Data::fromText(bytes).bytes(), kClasses, &error);
  ASSERT_TRUE(read) << error.localizedDescription;
  EXPECT_EQ(read->name, "Größe");
  EXPECT_EQ(read->next, read);
  const Array& any = *read->any.array();
  EXPECT_EQ(Array(any.begin(), any.begin() + 6),
            (Array{nullptr, Data::fromText("data"), -1, std::int64_t{1} << 40, 0.25, true}));
  EXPECT_EQ(any.size(), 70'006U);
  EXPECT_EQ(any.back(), Value("t69999"));
  read->next = nullptr;
}

struct Columns : qw::Restorable {
  std::string order;
  int width = 0;
  void encodeRestorableState(qw::KeyedArchiver& coder) const override {
    coder.encodeObject(order, "order");
    coder.encodeInt(width, "width");
  }
  void restoreState(qw::KeyedUnarchiver& coder) override {
    order = coder.decodeText("order");
    width = coder.decodeInt("width");
  }
};

TEST(RestorableState, PartsKeepTheirsApart) {
  Columns left, right;
  left.order = "date,payee";
  left.width = 3;
  right.order = "no text: \xFF";
  qw::KeyedArchiver archiver;
  EXPECT_TRUE(qw::encodeRestorableStateOfSubitem(archiver, left, "left"));
  EXPECT_FALSE(qw::encodeRestorableStateOfSubitem(archiver, right, "right"));
  archiver.encodeBytes(std::array<std::uint8_t, 2>{1, 2}, "damaged");
  archiver.encodeInt(7, "width");
  const auto data = archiver.finish();
  ASSERT_TRUE(data);

  const auto unarchiver = qw::KeyedUnarchiver::open(data->bytes(), {});
  ASSERT_TRUE(unarchiver);
  Columns found;
  EXPECT_TRUE(qw::restoreStateOfSubitem(*unarchiver, found, "right"));
  EXPECT_EQ(found.order, "") << "nothing was kept, and nothing is touched";
  qw::Error error;
  EXPECT_FALSE(qw::restoreStateOfSubitem(*unarchiver, found, "damaged", {}, &error));
  EXPECT_TRUE(error);
  EXPECT_TRUE(qw::restoreStateOfSubitem(*unarchiver, found, "left"));
  EXPECT_EQ(found.order, "date,payee");
  EXPECT_EQ(found.width, 3);
  EXPECT_EQ(unarchiver->decodeInt("width"), 7);
  EXPECT_TRUE(unarchiver->finish());
}

}  // namespace

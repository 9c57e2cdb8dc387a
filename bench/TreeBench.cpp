#include <memory>
#include <string>
#include <vector>

#include "bench/Bench.h"
#include "platform/object/Object.h"
#include "platform/object/Property.h"
#include "values/collections/QWArrayAdditions.h"

namespace {

/// A tree of categories: ten groups in each group and ten leaves in each of the lowest.
class Category : public qw::Object {
 public:
  static const qw::Class kClass;

  static std::shared_ptr<Category> makeTree(int depth) {
    auto category = qw::make<Category>();
    category->leaf_ = depth == 0;
    for (int i = 0; depth > 0 && i < 10; ++i) category->children_.push_back(makeTree(depth - 1));
    return category;
  }

  void appendLeaves(std::vector<const Category*>& leaves) const {
    if (leaf_) leaves.push_back(this);
    for (const auto& child : children_) child->appendLeaves(leaves);
  }

 private:
  bool leaf_ = false;
  std::vector<std::shared_ptr<Category>> children_;
};

constinit const qw::Class Category::kClass = qw::define<Category, qw::Object>("Category", {}, [] {
  return qw::properties(qw::property<&Category::leaf_>("leaf"),
                        qw::property<&Category::children_>("children"));
});

const qw::bench::Benchmark kFlatten("flatten_100k", [](qw::bench::Run& run) {
  const std::shared_ptr<Category> tree = Category::makeTree(5);
  const qw::Array roots = {tree};
  run.measure(
      [&] { qw::bench::keep(QWArrayAdditions::flatArrayWithChildrenKeyPath(roots, "children", "leaf")); },
      [&] {
        std::vector<const Category*> leaves;
        tree->appendLeaves(leaves);
        qw::bench::keep(leaves);
      });
});

}  // namespace

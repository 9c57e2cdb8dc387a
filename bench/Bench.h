#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <type_traits>

namespace qw::bench {

/// Measures a part of a closure: a closure that takes a stopwatch starts and stops it around what counts, as
/// often as it likes; one that takes none is measured whole.
class Stopwatch {
 public:
  void start();
  void stop();
  double seconds() const { return seconds_; }

 private:
  double started_ = 0;
  double seconds_ = 0;
};

/// One run of a benchmark, handed to its body. The body prepares its data, calls `measure` once, and may
/// report figures.
class Run {
 public:
  /// How often ours and the limit are each measured; 9 unless said, and 1 means without a warm-up.
  void repetitions(int count) { repetitions_ = count; }

  /// Runs `ours` and the honest `limit` alternately in this process and takes the median of each. Both must
  /// do the same work on the same data. After a warm-up of both, every other pair begins with the limit.
  template <class Ours, class Limit>
  void measure(Ours ours, Limit limit) {
    measureTimed(timed(ours), timed(limit));
  }

  /// A further figure for the table and the JSON file, for instance ("bytes per object", 391).
  void figure(std::string name, double value);

 private:
  using Timed = std::function<void(Stopwatch&)>;
  template <class Closure>
  static Timed timed(Closure& closure) {
    if constexpr (std::is_invocable_v<Closure&, Stopwatch&>) {
      return [&closure](Stopwatch& watch) { closure(watch); };
    } else {
      return [&closure](Stopwatch& watch) {
        watch.start();
        closure();
        watch.stop();
      };
    }
  }
  void measureTimed(const Timed& ours, const Timed& limit);

  friend struct Report;
  struct Result;
  explicit Run(Result& result) : result_(result) {}
  Result& result_;
  int repetitions_ = 9;
};

/// A benchmark registers itself where it is defined, at namespace scope of any bench/*.cpp:
///
///     const qw::bench::Benchmark kFlatten("flatten_100k", [](qw::bench::Run& run) {
///       const Forest forest = makeForest(100'000);
///       run.measure([&] { keep(forest.flattened()); }, [&] { keep(forest.appendedByHand()); });
///     });
class Benchmark {
 public:
  Benchmark(std::string name, std::function<void(Run&)> body);
};

/// Bytes that the process holds from its allocator now; differences give the memory of what was made in
/// between.
std::size_t heapBytes();

/// Makes the compiler believe that the value is used.
template <class T>
void keep(const T& value) {
  asm volatile("" : : "r"(&value) : "memory");
}

}  // namespace qw::bench

#include "bench/Bench.h"

#include <fmt/format.h>
#include <malloc.h>

#include <algorithm>
#include <cassert>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <regex>
#include <utility>
#include <vector>

namespace qw::bench {
namespace {

double now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  if (values.size() % 2 == 1) return *middle;
  return (*middle + *std::max_element(values.begin(), middle)) / 2;
}

std::string duration(double seconds) {
  if (seconds >= 1) return fmt::format("{:.3f} s", seconds);
  if (seconds >= 1e-3) return fmt::format("{:.3f} ms", seconds * 1e3);
  return fmt::format("{:.3f} us", seconds * 1e6);
}

/// A machine that hands memory to a process for the first time takes several times as long for it as later on.
void touchMemory() {
  constexpr std::size_t kSize = std::size_t{3} << 30;
  const std::vector<char> memory(kSize, 1);
  keep(memory);
}

/// Of the ratios of pairs that ran one after the other.
std::pair<double, double> spread(const std::vector<double>& ours, const std::vector<double>& limit) {
  std::vector<double> ratios;
  for (std::size_t i = 0; i < ours.size(); ++i) ratios.push_back(ours[i] / limit[i]);
  const auto [least, most] = std::minmax_element(ratios.begin(), ratios.end());
  return {*least, *most};
}

using Registered = std::pair<std::string, std::function<void(Run&)>>;
std::vector<Registered>& registered() {
  static std::vector<Registered> all;
  return all;
}

}  // namespace

void Stopwatch::start() { started_ = now(); }
void Stopwatch::stop() { seconds_ += now() - started_; }

struct Run::Result {
  std::vector<double> ours, limit;
  std::vector<std::pair<std::string, double>> figures;
};

void Run::figure(std::string name, double value) { result_.figures.emplace_back(std::move(name), value); }

void Run::measureTimed(const Timed& ours, const Timed& limit) {
  assert(repetitions_ > 0 && result_.ours.empty());
  const auto once = [](const Timed& closure, std::vector<double>* into) {
    Stopwatch watch;
    closure(watch);
    if (into) into->push_back(watch.seconds());
  };
  if (repetitions_ > 1) {
    once(ours, nullptr);
    once(limit, nullptr);
  }
  for (int i = 0; i < repetitions_; ++i) {
    if (i % 2 == 0) once(ours, &result_.ours);
    once(limit, &result_.limit);
    if (i % 2 == 1) once(ours, &result_.ours);
  }
}

Benchmark::Benchmark(std::string name, std::function<void(Run&)> body) {
  registered().emplace_back(std::move(name), std::move(body));
}

std::size_t heapBytes() {
  const auto info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

/// Runs one benchmark, prints its line and answers its entry of the JSON file.
struct Report {
  static nlohmann::ordered_json run(const Registered& benchmark) {
    Run::Result result;
    Run run(result);
    benchmark.second(run);
    if (result.ours.empty()) throw std::runtime_error(benchmark.first + " measured nothing");
    const double ours = median(result.ours), limit = median(result.limit);
    const auto [least, most] = spread(result.ours, result.limit);
    nlohmann::ordered_json entry = {{"name", benchmark.first},
                                    {"ours_s", ours},
                                    {"limit_s", limit},
                                    {"ratio", ours / limit},
                                    {"spread", {least, most}}};
    fmt::print("{:<32} {:>12} {:>12} {:>8.2f} {:>6.2f}-{:<6.2f} {:>4}\n", benchmark.first, duration(ours),
               duration(limit), ours / limit, least, most, result.ours.size());
    for (const auto& [name, value] : result.figures) {
      fmt::print("{:<32} {:>12.6g}\n", "  " + name, value);
      entry["figures"][name] = value;
    }
    std::fflush(stdout);
    return entry;
  }
};

namespace {

int runAll(const std::string& filter, const std::string& json, bool list) {
  std::sort(registered().begin(), registered().end(), [](auto& a, auto& b) { return a.first < b.first; });
  const std::regex pattern(filter);
  auto entries = nlohmann::ordered_json::array();
  if (!list) {
    touchMemory();
    fmt::print("{:<32} {:>12} {:>12} {:>8} {:>13} {:>4}\n", "median", "ours", "limit", "ratio", "spread",
               "runs");
  }
  std::size_t matched = 0;
  for (const auto& benchmark : registered()) {
    if (!std::regex_search(benchmark.first, pattern)) continue;
    ++matched;
    if (list) {
      fmt::print("{}\n", benchmark.first);
    } else {
      entries.push_back(Report::run(benchmark));
    }
  }
  if (matched == 0) throw std::runtime_error("no benchmark matches");
  if (!json.empty()) {
    std::ofstream out(json);
    out << entries.dump(2) << '\n';
    if (!out.flush()) throw std::runtime_error("cannot write " + json);
  }
  return 0;
}

}  // namespace
}  // namespace qw::bench

int main(int argc, char** argv) {
  std::string filter, json;
  bool list = false;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument == "--list") {
      list = true;
    } else if (argument == "--filter" && i + 1 < argc) {
      filter = argv[++i];
    } else if (argument == "--json" && i + 1 < argc) {
      json = argv[++i];
    } else {
      fmt::print(stderr, "usage: qw_bench [--list] [--filter REGEX] [--json FILE]\n");
      return 2;
    }
  }
  try {
    return qw::bench::runAll(filter, json, list);
  } catch (const std::exception& e) {
    fmt::print(stderr, "qw_bench: {}\n", e.what());
    return 1;
  }
}

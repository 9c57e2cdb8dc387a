#include <array>
#include <cstdio>
#include <random>
#include <string>

#include "bench/Bench.h"
#include "import/QWCSVRows.h"

namespace {

/// A bank's export of eight columns; one memo in five holds quotes, one in four is merely quoted.
std::string makeText(std::size_t size) {
  constexpr std::array kPayees = {"Bakery", "Railway Company", "Electric & Gas", "Rent",
                                  "The Grocer at the Corner"};
  std::mt19937 random(1);
  std::string text = "id,date,payee,amount,currency,category,memo,cleared\n";
  text.reserve(size + 200);
  while (text.size() < size) {
    char line[200];
    const auto kind = random() % 20;
    std::snprintf(line, sizeof line, "%u,2024-%02u-%02u,%s,%u.%02u,EUR,Household,%s,%u\n",
                  static_cast<unsigned>(random() % 1'000'000), static_cast<unsigned>(random() % 12 + 1),
                  static_cast<unsigned>(random() % 28 + 1), kPayees[random() % kPayees.size()],
                  static_cast<unsigned>(random() % 1000), static_cast<unsigned>(random() % 100),
                  kind < 4   ? "\"card \"\"gold\"\", terminal 12\""
                  : kind < 9 ? "\"card, terminal 12\""
                             : "standing order",
                  static_cast<unsigned>(random() % 2));
    text += line;
  }
  return text;
}

/// The limit: looks at every byte and finds where fields end, but keeps nothing.
std::size_t countFields(std::string_view text) {
  std::size_t fields = 0;
  bool inside = false;
  for (const char c : text) {
    if (c == '"') inside = !inside;
    if (!inside && (c == ',' || c == '\n')) ++fields;
  }
  return fields;
}

const qw::bench::Benchmark kRead("csv_read_100mb", [](qw::bench::Run& run) {
  const std::string text = makeText(100'000'000);
  run.measure(
      [&](qw::bench::Stopwatch& watch) {
        std::string copy = text;  // a program that read the file hands its text over
        watch.start();
        const QWCSVRows rows = QWStringAdditions::CSVRowsWithSeparator(std::move(copy), ",", true);
        qw::bench::keep(rows);
        watch.stop();
      },
      [&] { qw::bench::keep(countFields(text)); });
  const std::size_t before = qw::bench::heapBytes();
  const QWCSVRows rows = QWStringAdditions::CSVRowsWithSeparator(text, ",", true);
  run.figure("bytes per byte of text",
             static_cast<double>(qw::bench::heapBytes() - before) / static_cast<double>(text.size()));
});

}  // namespace

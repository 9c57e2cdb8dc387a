#pragma once

#include <string>
#include <string_view>
#include <vector>

/// A CSV reader that is nothing but slow and plain, one character at a time, to hold the real one against.
struct CSVReference {
  bool dropsBlanksAfterSeparator = true;
  bool dropsEmptyLines = true;

  using Record = std::vector<std::string>;

  std::vector<Record> read(std::string_view text, char separator) const {
    std::vector<Record> records;
    Record record;
    std::string field;
    bool inside = false;
    const auto endRecord = [&] {
      if (!field.empty() || !record.empty()) record.push_back(field);
      if (!record.empty() || !dropsEmptyLines) records.push_back(record);
      record.clear();
      field.clear();
    };
    std::size_t i = 0;
    while (i < text.size()) {
      const char c = text[i++];
      const char next = i < text.size() ? text[i] : '\0';
      if (c == '"') {
        if (inside && i < text.size() && next == '"') {
          field += text[i++];
        } else {
          inside = !inside;
        }
      } else if (c == separator && !inside) {
        record.push_back(field);
        field.clear();
        while (dropsBlanksAfterSeparator && i < text.size() && (text[i] == ' ' || text[i] == '\t') &&
               text[i] != separator) {
          ++i;
        }
      } else if ((c == '\n' || c == '\r') && !inside) {
        if (c == '\r' && next == '\n') ++i;
        endRecord();
      } else {
        field += c;
      }
    }
    if (!field.empty() || !record.empty()) endRecord();
    return records;
  }
};

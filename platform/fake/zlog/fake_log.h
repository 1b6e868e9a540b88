// Log records and the level from which on they are written.
#pragma once

#include <string>
#include <vector>

/// A log category is its name.
struct zlog_category_s {  // NOLINT(readability-identifier-naming): the library's name
  std::string name;
};

namespace fake {

struct LogRecord {
  std::string category;
  std::string file;
  std::string function;
  long line;
  int level;
  std::string text;
  std::string format = {};  ///< That the text was made by.
};

class Log {
 public:
  /// Keeps a record, unless its level is off. With SNMP_APP_FAKE_TRACE in the environment it is
  /// printed on stderr, too.
  void Write(const LogRecord& record);
  bool IsEnabled(int level) const { return level >= threshold; }
  void Reset();

  std::vector<LogRecord> records;
  int threshold = 0;  ///< Lowest level that is written.
};

}  // namespace fake

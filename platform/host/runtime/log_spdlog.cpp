// The zlog calls on spdlog, for a system without zlog: on standard error, and in the journal when a
// service manager started the process.
#include "runtime/log.h"

#include <spdlog/pattern_formatter.h>
#include <spdlog/spdlog.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "runtime/log_sinks.h"
#include "vkmw/vkmw.h"

struct zlog_category_s {
  std::shared_ptr<spdlog::logger> logger;
};

namespace host {

namespace {

struct Level {
  int number;
  const char* name;
  spdlog::level::level_enum spdlog_level;
};

constexpr Level kLevels[] = {{kDetail, "detail", spdlog::level::debug},
                             {kProgress, "progress", spdlog::level::info},
                             {kNotice, "notice", spdlog::level::warn}};

spdlog::level::level_enum SpdlogLevel(int number) {
  for (const Level& level : kLevels) {
    if (number <= level.number) return level.spdlog_level;
  }
  return spdlog::level::critical;
}

/// The level's name in a record, at the width of the longest.
class LevelName : public spdlog::custom_flag_formatter {
 public:
  void format(const spdlog::details::log_msg& msg, const std::tm& /*time*/,
              spdlog::memory_buf_t& dest) override {
    for (const Level& level : kLevels) {
      if (level.spdlog_level != msg.level) continue;
      char padded[16];
      const int length = snprintf(padded, sizeof padded, "%-8s", level.name);
      dest.append(padded, padded + length);
    }
  }
  std::unique_ptr<custom_flag_formatter> clone() const override {
    return std::make_unique<LevelName>();
  }
};

/// Whether standard error ends in the journal, which then has the records already.
bool StandardErrorIsJournal() {
  const char* stream = getenv("JOURNAL_STREAM");
  struct stat status = {};
  if (stream == nullptr || fstat(STDERR_FILENO, &status) != 0) return false;
  return std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino) == stream;
}

bool UnderServiceManager() { return getenv("INVOCATION_ID") != nullptr; }

std::vector<spdlog::sink_ptr> MakeSinks() {
  std::vector<spdlog::sink_ptr> sinks;
  const bool journal = UnderServiceManager();
  if (journal) {
    sinks.push_back(std::make_shared<JournalSink>("snmp-app"));
    auto formatter = std::make_unique<spdlog::pattern_formatter>();
    formatter->add_flag<LevelName>('*').set_pattern("%* %n [%g:%# %!] %v");
    sinks.back()->set_formatter(std::move(formatter));
  }
  if (!journal || !StandardErrorIsJournal()) {
    sinks.push_back(std::make_shared<StandardErrorSink>());
    auto formatter = std::make_unique<spdlog::pattern_formatter>();
    formatter->add_flag<LevelName>('*').set_pattern("%Y-%m-%dT%H:%M:%S.%e %* %n [%g:%# %!] %v");
    sinks.back()->set_formatter(std::move(formatter));
  }
  return sinks;
}

/// The least level that is written: SNMP_APP_LOG_LEVEL is detail, progress (default) or notice.
spdlog::level::level_enum Threshold() {
  const char* wanted = getenv("SNMP_APP_LOG_LEVEL");
  if (wanted == nullptr) return spdlog::level::info;
  for (const Level& level : kLevels) {
    if (std::string(level.name) == wanted) return level.spdlog_level;
  }
  fprintf(stderr, "SNMP_APP_LOG_LEVEL=%s: not detail, progress or notice; taking progress\n",
          wanted);
  return spdlog::level::info;
}

class Log {
 public:
  /// The category of a name, made on first use. From any thread.
  zlog_category_s* Category(const std::string& name) {
    const std::lock_guard lock(mutex_);
    zlog_category_s& category = categories_[name];
    if (category.logger == nullptr) {
      category.logger = std::make_shared<spdlog::logger>(name, sinks_.begin(), sinks_.end());
      category.logger->set_level(threshold_);
      category.logger->flush_on(threshold_);
    }
    return &category;
  }

 private:
  const std::vector<spdlog::sink_ptr> sinks_ = MakeSinks();
  const spdlog::level::level_enum threshold_ = Threshold();
  std::map<std::string, zlog_category_s> categories_;
  std::mutex mutex_;
};

/// Never destroyed: categories live as long as the process, and what ends with it still writes.
Log& TheLog() {
  static auto* const log = new Log;
  return *log;
}

std::string Format(const char* format, va_list arguments) {
  va_list again;
  va_copy(again, arguments);
  const int length = vsnprintf(nullptr, 0, format, again);
  va_end(again);
  if (length < 0) return format;
  std::string text(static_cast<size_t>(length), '\0');
  vsnprintf(text.data(), text.size() + 1, format, arguments);
  return text;
}

/// One record is one line, whatever a peer or a configuration put into its text.
std::string OneLine(const std::string& text) {
  const size_t last = text.find_last_not_of('\n');
  std::string line;
  for (const char c : text.substr(0, last + 1)) {
    if (c == '\n') {
      line += "\\n";
    } else {
      line += static_cast<unsigned char>(c) < ' ' ? '?' : c;
    }
  }
  return line;
}

}  // namespace

}  // namespace host

zlog_category_s* vkmw_trace_register_category(const char* name) {
  return host::TheLog().Category(name);
}

void zlog(zlog_category_t* category, const char* file, size_t file_length, const char* function,
          size_t function_length, long line, int level, const char* format, ...) {
  if (zlog_level_enabled(category, level) == 0) return;
  const int saved_errno = errno;
  va_list arguments;
  va_start(arguments, format);
  try {
    const std::string text = host::OneLine(host::Format(format, arguments));
    const std::string path(file, file_length);
    const std::string name(function, function_length);
    category->logger->log({path.c_str(), static_cast<int>(line), name.c_str()},
                          host::SpdlogLevel(level), text);
  } catch (const std::exception&) {
    // What the record is about goes on, and not half done, though there is no memory for the words.
  }
  va_end(arguments);
  errno = saved_errno;
}

int zlog_level_enabled(zlog_category_t* category, int level) {
  return category->logger->should_log(host::SpdlogLevel(level)) ? 1 : 0;
}

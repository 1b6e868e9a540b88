#include "zlog/fake_log.h"

#include <cstdio>
#include <cstdlib>

#include "fake_device.h"

namespace fake {

namespace {

void Trace(const LogRecord& record) {
  fprintf(stderr, "%s %s:%ld %s %d %s\n", record.category.c_str(), record.file.c_str(), record.line,
          record.function.c_str(), record.level, record.text.c_str());
}

}  // namespace

void Log::Write(const LogRecord& record) {
  if (!IsEnabled(record.level)) return;
  Device::Instance().Note("log " + record.function + ": " + record.text);
  records.push_back(record);
  if (getenv("SNMP_APP_FAKE_TRACE") != nullptr) Trace(record);
}

void Log::Reset() {
  records.clear();
  threshold = 0;
}

}  // namespace fake

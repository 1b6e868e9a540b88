// A configuration that was in force, as the history tells of it.
#pragma once

#include <libyang/libyang.h>

#include <cstdint>
#include <deque>
#include <string>

#include "config/commit_record.h"
#include "config/yang_data.h"

namespace host {

struct KeptConfiguration {
  uint32_t number = 0;  ///< Counts up; none is given twice.
  std::string time;     ///< When it came into force, as TimeText() has it.
  Author author;        ///< Who put it there.
  std::string changes;  ///< As ChangesText() has them; empty where nobody knows.
};

/// As data of the model snmp-app-history, null for none. Throws Refusal for what the model does not
/// take. `context` has the model and outlives the data.
Tree HistoryData(ly_ctx* context, const std::deque<KeptConfiguration>& configurations);

/// Reads the data of one, in JSON. Throws std::runtime_error with the reason for anything else.
KeptConfiguration ReadHistoryData(ly_ctx* context, const std::string& json);

}  // namespace host

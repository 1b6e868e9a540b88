// The middleware record that every timer of the program is made with.
#pragma once

#include "vkmw/vkmw.h"

namespace app {

extern const vkmw_sig_t kTimerSignal;

}  // namespace app

// Events of the protocol itself (RFC 6470).
#pragma once

#include <libyang/libyang.h>

#include "config/commit_record.h"
#include "netconf/confirmed_commit.h"
#include "netconf/event_log.h"
#include "netconf/session.h"

namespace host {

// `events` may be null: nobody is to be told then. Nothing is thrown; what there is no memory for
// is lost.

/// A commit that changed something; others are no event. `context` has the models of its paths.
void PublishConfigChange(EventLog* events, const ly_ctx* context,
                         const CommitRecord& record) noexcept;

void PublishSessionStart(EventLog* events, const SessionFacts& session) noexcept;

/// `killer` is the session that ended a killed one.
void PublishSessionEnd(EventLog* events, const SessionFacts& session, SessionId killer) noexcept;

void PublishConfirmedCommit(EventLog* events, const ConfirmEvent& event) noexcept;

}  // namespace host

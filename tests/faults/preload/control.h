// What a test and the process under test share: a file that both map, of words of 64 bits.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace faults {

/// By their place in the file. All are 0 at first, which changes nothing.
enum Word : size_t {
  kFailingAllocation,  ///< The number of the allocation that fails; counted while it is not 0.
  kAllocations,        ///< Counted so far.
  kFailedAllocations,
  kClockOffset,     ///< Seconds that the wall clock is ahead.
  kNetlinkKind,     ///< A SpoilKind.
  kNetlinkSockets,  ///< A SocketKind.
  kNetlinkSkip,     ///< So many answers come as they are.
  kNetlinkCount,    ///< So many behind them are spoilt.
  kNetlinkCode,     ///< The errno of a refusal.
  kNetlinkSpoilt,   ///< Spoilt so far.
};

enum SpoilKind : int64_t {
  kWhole,
  kTruncated,      ///< Half of it comes.
  kWrongSequence,  ///< It is the answer to another request.
  kEndless,        ///< It is a part of a list, and so is all that comes behind it.
  kHugeLength,     ///< Its length is 2^32-1.
  kNoLength,       ///< Its length is 0.
  kOverrun,        ///< ENOBUFS comes in its place.
  kRefused,        ///< The request is refused, and not done.
  kSilence,        ///< The request is not done, and nothing comes.
};

enum SocketKind : int64_t { kAnySocket, kRouting, kWatch, kPacketFilter };

/// Where a failed allocation was asked for, and where the process died, as texts that end with 0.
constexpr size_t kAllocatedAt = 1024;
constexpr size_t kDiedAt = 2048;
constexpr size_t kTextSize = 1024;
constexpr size_t kControlSize = 4096;

/// One of the words; null where no test has told the process its file.
std::atomic<int64_t>* Find(Word word);

/// Its value, 0 where there is none.
int64_t Get(Word word);

/// Writes the objects that this call came through, the innermost first, to the text at `place`. May
/// be called from a signal's handler.
void WriteCallers(size_t place);

}  // namespace faults

// A kernel that does not answer.
#pragma once

#include <chrono>

namespace host {

/// Who has waited in vain twice in a row asks nothing for a while: a change of many parts then
/// waits two seconds for all of them, not for each.
class Silence {
 public:
  using Clock = std::chrono::steady_clock;

  /// How long one answer is waited for. The kernel answers in microseconds, and lists thousands of
  /// rules in milliseconds.
  static constexpr std::chrono::seconds kLimit{1};

  /// Less than the time to the first of another attempt.
  static constexpr std::chrono::seconds kPause{3};

  /// Whether nothing is to be asked now.
  bool Lasts() const { return Clock::now() < end_; }

  /// One request was made at `begin`; `in_vain` when no answer came until now.
  void Note(bool in_vain, Clock::time_point begin) {
    in_a_row_ = in_vain && Clock::now() - begin >= kLimit ? in_a_row_ + 1 : 0;
    if (in_a_row_ < 2) return;
    in_a_row_ = 0;
    end_ = Clock::now() + kPause;
  }

 private:
  int in_a_row_ = 0;
  Clock::time_point end_;
};

}  // namespace host

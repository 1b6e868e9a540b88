// What one redirect costs when thousands are added one by one: redirects_bench COUNT...
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

#include "rules/redirects.h"

namespace {

/// Prints the time and the processor time of one of `count` steps since it was made.
class Meter {
 public:
  void Print(const char* step, int count) const {
    const auto time = std::chrono::steady_clock::now() - begin_;
    const double each = std::chrono::duration<double, std::micro>(time).count() / count;
    const double used = 1e6 * static_cast<double>(std::clock() - used_) / CLOCKS_PER_SEC / count;
    std::printf("%s %.1f us (processor %.1f)", step, each, used);
  }

 private:
  std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
  std::clock_t used_ = std::clock();
};

uint16_t PortOf(int number) { return static_cast<uint16_t>(60600 + number); }

std::string NameOf(int number) { return "eth" + std::to_string(number); }

bool Measure(int count) {
  host::Redirects redirects;
  bool done = true;
  std::printf("%5d redirects, each: ", count);
  const Meter added;
  for (int i = 0; i < count; ++i) done = redirects.Add(NameOf(i), 161, PortOf(i)) && done;
  added.Print("added", count);
  const Meter moved;
  for (int i = 0; i < count; ++i) {
    done = redirects.Delete(NameOf(i), 161, PortOf(i)) &&
           redirects.Add(NameOf(i), 1161, PortOf(i)) && done;
  }
  moved.Print(", moved", count);
  const Meter deleted;
  for (int i = 0; i < count; ++i) done = redirects.Delete(NameOf(i), 1161, PortOf(i)) && done;
  deleted.Print(", deleted", count);
  std::puts(done ? "" : " (REFUSED)");
  return done;
}

}  // namespace

int main(int argc, char** argv) {
  bool done = true;
  for (int i = 1; i < argc; ++i) done = Measure(std::atoi(argv[i])) && done;
  return done ? 0 : 1;
}

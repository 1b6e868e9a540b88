// A race that ThreadSanitizer has to tell: two threads write one number, and neither waits for the
// other. Whichever comes first, the second one shows.
#include <cstdio>
#include <thread>

namespace {

int number = 0;

void WriteUnasked(int value) { number = value; }

}  // namespace

int main() {
  std::thread other(WriteUnasked, 1);
  WriteUnasked(2);
  other.join();
  std::printf("%d was written last\n", number);
}

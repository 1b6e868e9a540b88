// What it takes to build the message of one dying-gasp trap: time and allocations.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "allocations.h"
#include "app/trap_target.h"

namespace {

void BuildOneTrapMessage(benchmark::State& state) {
  const std::string community(static_cast<size_t>(state.range(0)), 'c');
  const size_t before = Allocations();
  for (auto iteration : state) {
    std::vector<uint8_t> message;
    uint32_t uptime_offset = 0;
    BuildTrapMessage(community, message, uptime_offset);
    benchmark::DoNotOptimize(message.data());
    benchmark::DoNotOptimize(uptime_offset);
  }
  state.counters["allocations"] = benchmark::Counter(static_cast<double>(Allocations() - before),
                                                     benchmark::Counter::kAvgIterations);
}
BENCHMARK(BuildOneTrapMessage)->ArgName("community")->Arg(0)->Arg(6)->Arg(26)->Arg(127);

}  // namespace

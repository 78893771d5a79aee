// What ToolRunner adds to running a program: /bin/true through ToolRunner (pipes, two
// reader threads, the exit wait, decoding) next to a bare posix_spawn + waitpid of it.
// Run: tool_runner_bench (each case repeats 200 times and reports the median).
#include "services/ToolRunner.h"

#include <benchmark/benchmark.h>
#include <spawn.h>
#include <sys/wait.h>

extern char** environ;

namespace {

constexpr int kRuns = 200;

void bareSpawnAndWait(benchmark::State& state) {
    char program[] = "/bin/true";
    char* argv[] = {program, nullptr};
    for (auto _ : state) {
        pid_t pid = 0;
        if (posix_spawn(&pid, program, nullptr, nullptr, argv, environ) != 0) {
            state.SkipWithError("posix_spawn failed");
            return;
        }
        int status = 0;
        waitpid(pid, &status, 0);
        benchmark::DoNotOptimize(status);
    }
}

void toolRunner(benchmark::State& state) {
    const QString program = QStringLiteral("/bin/true");
    for (auto _ : state) {
        const velmox::ToolRunResult result = velmox::ToolRunner::run(program, {});
        if (result.status != 0) {
            state.SkipWithError("/bin/true failed");
            return;
        }
        benchmark::DoNotOptimize(result);
    }
}

} // namespace

BENCHMARK(bareSpawnAndWait)
    ->Iterations(1)
    ->Repetitions(kRuns)
    ->ReportAggregatesOnly(true)
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();
BENCHMARK(toolRunner)
    ->Iterations(1)
    ->Repetitions(kRuns)
    ->ReportAggregatesOnly(true)
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();

BENCHMARK_MAIN();

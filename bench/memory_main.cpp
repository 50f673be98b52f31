// The memory of `kavelin fuse` on ten million rows that another program sends: the greatest resident size, libraries
// included, as a row of the table of scripts/bench.
//
// bench_memory PROGRAM [ROWS]
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

constexpr double kMost = 16.0;  // MiB

/// Starts a program with these ends of pipes; -1 leaves an end as it is.
::pid_t start(const std::vector<std::string>& words, int in, int out) {
    const ::pid_t child = ::fork();
    if (child != 0) return child;
    if (in >= 0) ::dup2(in, STDIN_FILENO);
    if (out >= 0) ::dup2(out, STDOUT_FILENO);
    std::vector<char*> arguments;
    for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    ::execv(arguments[0], arguments.data());
    std::_Exit(127);
}

}  // namespace

int main(int argc, char** argv) {
    const std::string program = argc > 1 ? argv[1] : "";
    const std::string rows = argc > 2 ? argv[2] : "10000000";
    int pipe[2];
    if (program.empty() || ::pipe2(pipe, O_CLOEXEC) != 0) return 2;
    const ::pid_t writer = start({program, "simulate", "--rows", rows, "--no-truth", "-o", "-"}, -1, pipe[1]);
    const ::pid_t reader = start({program, "fuse", "-", "-o", "/dev/null", "--quiet"}, pipe[0], -1);
    ::close(pipe[0]);
    ::close(pipe[1]);
    int status = 0;
    ::rusage usage{};
    ::wait4(reader, &status, 0, &usage);
    ::waitpid(writer, nullptr, 0);
    // A simulated recording has parts that are worth a remark: status 1 counts.
    if (!WIFEXITED(status) || WEXITSTATUS(status) > 1) return 1;
    const double mebibytes = static_cast<double>(usage.ru_maxrss) / 1024.0;
    std::printf("| memory of fuse, %s rows | %.1f MiB | | | %.0f MiB | %s |\n", rows.c_str(), mebibytes,
                kMost, mebibytes <= kMost ? "holds" : "**over**");
    return 0;
}

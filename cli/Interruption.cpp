#include "cli/Interruption.h"

#include <csignal>

namespace Kavelin::Cli {

namespace {

volatile std::sig_atomic_t come = 0;

extern "C" void noteInterruption(int signal) {
    come = 1;
    std::signal(signal, SIG_DFL);
}

}  // namespace

Interruption::Interruption() {
    come = 0;
    std::signal(SIGINT, noteInterruption);
    std::signal(SIGTERM, noteInterruption);
}

Interruption::~Interruption() {
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
}

bool Interruption::hasCome() { return come != 0; }

}  // namespace Kavelin::Cli

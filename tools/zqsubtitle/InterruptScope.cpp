#include "tools/zqsubtitle/InterruptScope.h"

namespace {

// Set by the handler, read by the command's loops.
volatile std::sig_atomic_t g_interrupted = 0;

extern "C" void OnInterrupt(int) {
    g_interrupted = 1;
}

}  // namespace

InterruptScope::InterruptScope() {
    g_interrupted = 0;
    m_previousInt = std::signal(SIGINT, OnInterrupt);
    m_previousTerm = std::signal(SIGTERM, OnInterrupt);
}

InterruptScope::~InterruptScope() {
    std::signal(SIGINT, m_previousInt);
    std::signal(SIGTERM, m_previousTerm);
}

bool InterruptScope::Interrupted() noexcept {
    return g_interrupted != 0;
}

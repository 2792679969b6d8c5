#include <brisko_codec/threads.h>

#include "base/processors.h"

#include <atomic>
#include <limits>
#include <utility>

namespace brisko {
namespace {

constexpr unsigned kNoLimit = std::numeric_limits<unsigned>::max();

std::atomic<unsigned> ofProcess = 0;
thread_local unsigned ofThread = kNoLimit;

}  // namespace

void setJobThreads(unsigned threads) {
    ofProcess = threads;
}

unsigned jobThreads() {
    const unsigned wanted = ofThread != kNoLimit ? ofThread : ofProcess.load();
    return wanted != 0 ? wanted : static_cast<unsigned>(processorCount());
}

JobThreadLimit::JobThreadLimit(unsigned threads) : m_before(std::exchange(ofThread, threads)) {
}

JobThreadLimit::~JobThreadLimit() {
    ofThread = m_before;
}

}  // namespace brisko

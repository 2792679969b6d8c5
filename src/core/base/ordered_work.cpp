#include "base/ordered_work.h"

#include <algorithm>
#include <new>
#include <system_error>

namespace brisko {

OrderedTurns::OrderedTurns(std::size_t threads, std::size_t pieces, std::size_t alone)
    : m_turns(pieces), m_helpers(std::max<std::size_t>(threads, 1) - 1), m_alone(alone) {
    m_threads.reserve(m_helpers);
}

/// Where the system gives fewer threads than are wanted, the others do their share; the owner is one of them.
void OrderedTurns::startThreads() noexcept {
    if (m_begun < m_alone || m_threads.size() == m_helpers) return;
    try {
        while (m_threads.size() < m_helpers) {
            m_threads.emplace_back([this] {
                Lock lock(m_mutex);
                while (!m_isStopping && !isFinished()) {
                    if (!doOne(lock)) m_changed.wait(lock);
                }
            });
        }
    } catch (const std::system_error&) {
        m_helpers = m_threads.size();
    } catch (const std::bad_alloc&) {
        m_helpers = m_threads.size();
    }
}

void OrderedTurns::stop() noexcept {
    {
        const Lock lock(m_mutex);
        m_isStopping = true;
    }
    m_changed.notify_all();
    for (std::thread& thread : m_threads)
        thread.join();
    m_threads.clear();
}

bool OrderedTurns::run(Lock& lock, Turn& turn, const Step& step, std::size_t piece) {
    bool answer = false;
    std::exception_ptr failure;
    lock.unlock();
    try {
        answer = step(piece);
    } catch (...) {
        failure = std::current_exception();
    }
    lock.lock();
    if (failure) turn.failure = failure;
    return answer;
}

void OrderedTurns::fail(Lock& lock, const std::exception_ptr& failure) {
    lock.unlock();
    stop();
    std::rethrow_exception(failure);
}

void OrderedTurns::reset() {
    std::fill(m_turns.begin(), m_turns.end(), Turn{});
    m_begun = m_ended = 0;
    m_atFront = m_atBack = m_isStopping = false;
}

bool TurnsAhead::doOne(Lock& lock) {
    if (m_isStopping || m_isAtEnd || m_atFront || m_begun >= m_ended + m_turns.size()) return false;
    const std::size_t piece = pieceOf(m_begun);
    Turn& turn = m_turns[piece];
    turn = {State::AtWork, nullptr};
    m_atFront = true;
    const bool isThere = run(lock, turn, m_fetch, piece);
    m_atFront = false;
    const bool failed = turn.failure != nullptr;
    m_isAtEnd = !isThere || failed;
    if (isThere || failed) ++m_begun;
    m_changed.notify_all();
    if (isThere && !failed) run(lock, turn, m_work, piece);
    turn.state = State::Done;
    m_changed.notify_all();
    return true;
}

std::size_t TurnsAhead::next() {
    Lock lock(m_mutex);
    if (!m_isAtEnd && !m_isStopping) startThreads();
    if (m_isHeld) {
        turn(m_ended).state = State::Free;
        ++m_ended;
        m_isHeld = false;
        m_changed.notify_all();
    }
    const auto isDone = [this] {
        return m_ended < m_begun ? turn(m_ended).state == State::Done : m_isAtEnd && !m_atFront;
    };
    workUntil(lock, isDone);
    if (m_ended == m_begun) return kEnd;
    if (const auto failure = turn(m_ended).failure) fail(lock, failure);
    m_isHeld = true;
    return pieceOf(m_ended);
}

void TurnsAhead::rewind() {
    stop();
    reset();
    m_isAtEnd = m_isHeld = false;
}

bool TurnsBehind::doOne(Lock& lock) {
    if (m_isStopping || m_failure) return false;
    Turn& first = turn(m_ended);
    if (m_ended < m_begun && first.state == State::Done && !m_atBack) {
        m_atBack = true;
        if (!first.failure) run(lock, first, m_deliver, pieceOf(m_ended));
        m_atBack = false;
        m_failure = first.failure;
        if (!m_failure) {
            first.state = State::Free;
            ++m_ended;
        }
    } else if (m_atWork < m_begun) {
        const std::size_t piece = pieceOf(m_atWork++);
        m_turns[piece].state = State::AtWork;
        run(lock, m_turns[piece], m_work, piece);
        m_turns[piece].state = State::Done;
    } else {
        return false;
    }
    m_changed.notify_all();
    return true;
}

void TurnsBehind::throwFailure(Lock& lock) {
    if (m_failure) fail(lock, m_failure);
}

std::size_t TurnsBehind::free() {
    Lock lock(m_mutex);
    workUntil(lock, [this] { return m_failure || m_begun < m_ended + m_turns.size(); });
    throwFailure(lock);
    return pieceOf(m_begun);
}

void TurnsBehind::give() {
    Lock lock(m_mutex);
    if (!m_isStopping) startThreads();
    turn(m_begun) = {State::Given, nullptr};
    ++m_begun;
    m_changed.notify_all();
}

void TurnsBehind::finish() {
    Lock lock(m_mutex);
    workUntil(lock, [this] { return m_failure || m_ended == m_begun; });
    throwFailure(lock);
}

}  // namespace brisko

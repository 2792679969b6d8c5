#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

/// A stream cut into pieces that several threads work on at once, while it is read and written in order. The
/// pieces are used again and again, so that no memory is taken on the way, and there are only so many.
namespace brisko {

/// How many pieces, where the usual numbers do not fit.
struct PieceCounts {
    std::size_t alone = 0;  // that begin before any thread starts, so that short streams start none
    std::size_t pieces = 0;  // there are; 0: as many as keep all threads busy
};

/// The turns that pieces take. Two kinds differ in who works at the ends: a stream that is read ahead is fetched by
/// any thread and taken by the owner, one that is written later is given by the owner and delivered by
/// any thread.
class OrderedTurns {
public:
    using Step = std::function<bool(std::size_t piece)>;

    OrderedTurns(const OrderedTurns&) = delete;
    OrderedTurns& operator=(const OrderedTurns&) = delete;

    /// Waits for what runs, starts nothing any more. The pieces are free then.
    void stop() noexcept;

protected:
    /// alone: so many turns begin before any thread starts: little work is done by the owner
    OrderedTurns(std::size_t threads, std::size_t pieces, std::size_t alone);
    ~OrderedTurns() { stop(); }

    static std::size_t piecesFor(std::size_t threads, const PieceCounts& counts) {
        return counts.pieces > 0 ? counts.pieces : threads < 2 ? 1 : threads + 2;
    }

    enum class State { Free, Given, AtWork, Done };
    struct Turn {
        State state = State::Free;
        std::exception_ptr failure;
    };
    using Lock = std::unique_lock<std::mutex>;

    /// Does one step of whatever can be done now, with the lock given back meanwhile. False: nothing.
    virtual bool doOne(Lock& lock) = 0;
    virtual bool isFinished() const = 0;

    /// Starts the threads when there is enough to do.
    void startThreads() noexcept;
    /// Until `isReady`, this thread works like any other.
    template <class Condition>
    void workUntil(Lock& lock, const Condition& isReady) {
        while (!isReady()) {
            if (!doOne(lock)) m_changed.wait(lock);
        }
    }
    /// Runs a step without the lock. What it throws becomes the failure of the turn.
    bool run(Lock& lock, Turn& turn, const Step& step, std::size_t piece);
    Turn& turn(std::uint64_t number) { return m_turns[pieceOf(number)]; }
    std::size_t pieceOf(std::uint64_t number) const {
        return static_cast<std::size_t>(number % m_turns.size());
    }
    /// A turn's failure, for the owner.
    [[noreturn]] void fail(Lock& lock, const std::exception_ptr& failure);
    void reset();

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<Turn> m_turns;
    std::uint64_t m_begun = 0;  // turns that were fetched or given
    std::uint64_t m_ended = 0;  // turns that were taken or delivered
    bool m_atFront = false;     // a thread fetches
    bool m_atBack = false;      // a thread delivers
    bool m_isStopping = false;

private:
    std::size_t m_helpers, m_alone;
    std::vector<std::thread> m_threads;
};

/// Pieces that are read ahead: the owner takes them in order.
class TurnsAhead : public OrderedTurns {
protected:
    ///   fetch  brings the next part of the stream into a piece; false at its end. Called in order, never by
    ///          two threads at once
    ///   work   what is to be done with a piece; any number at once
    TurnsAhead(std::size_t threads, std::size_t pieces, std::size_t alone, Step fetch, Step work)
        : OrderedTurns(threads, pieces, alone),
          m_fetch(std::move(fetch)),
          m_work(std::move(work)) {}
    ~TurnsAhead() { stop(); }

    static constexpr std::size_t kEnd = ~std::size_t{0};
    /// The next piece, which is the owner's until the next call; kEnd after the last one.
    std::size_t next();
    /// To the start of another stream. Nothing runs after it, before next() is called.
    void rewind();

private:
    bool doOne(Lock& lock) override;
    bool isFinished() const override { return m_isAtEnd; }

    Step m_fetch, m_work;
    bool m_isAtEnd = false;  // nothing more is fetched
    bool m_isHeld = false;   // a piece is the owner's
};

/// Pieces that are written later: the owner fills and gives them in order.
class TurnsBehind : public OrderedTurns {
protected:
    ///   work     what is to be done with a piece; any number at once
    ///   deliver  takes the result; called in order, never by two threads at once
    TurnsBehind(std::size_t threads, std::size_t pieces, std::size_t alone, Step work, Step deliver)
        : OrderedTurns(threads, pieces, alone),
          m_work(std::move(work)),
          m_deliver(std::move(deliver)) {}
    ~TurnsBehind() { stop(); }

    /// A piece to be filled by the owner, when one is free.
    std::size_t free();
    /// The piece of the last free() is filled.
    void give();
    /// Waits until all are delivered.
    void finish();

private:
    bool doOne(Lock& lock) override;
    bool isFinished() const override { return m_failure != nullptr; }
    void throwFailure(Lock& lock);

    Step m_work, m_deliver;
    std::uint64_t m_atWork = 0;  // turns whose work was begun
    std::exception_ptr m_failure;
};

/// Reads a stream ahead in pieces.
template <class Piece>
class PiecesAhead final : private TurnsAhead {
public:
    using Use = std::function<void(Piece&)>;
    using Fetch = std::function<bool(Piece&)>;

    ///   threads  that work on it, the one that takes the pieces included
    ///   fetch, work  as TurnsAhead takes them. What they throw comes out of next() in the piece's turn.
    PiecesAhead(std::size_t threads, Fetch fetch, Use work, const PieceCounts& counts = {})
        : TurnsAhead(
              threads, piecesFor(threads, counts), counts.alone,
              [this, fetch = std::move(fetch)](std::size_t i) { return fetch(m_pieces[i]); },
              [this, work = std::move(work)](std::size_t i) {
                  work(m_pieces[i]);
                  return true;
              }),
          m_pieces(piecesFor(threads, counts)) {}
    ~PiecesAhead() { stop(); }

    /// The next piece, which is the caller's until the next call; null after the last one.
    Piece* next() {
        const std::size_t i = TurnsAhead::next();
        return i == kEnd ? nullptr : &m_pieces[i];
    }
    /// Before the stream starts again: nothing of it is used after this, before next() is called.
    using TurnsAhead::rewind;

private:
    std::vector<Piece> m_pieces;
};

/// Writes a stream in pieces, whose work is done later.
template <class Piece>
class PiecesBehind final : private TurnsBehind {
public:
    using Use = std::function<void(Piece&)>;

    ///   threads  that work on it, the one that fills the pieces included
    ///   work, deliver  as TurnsBehind takes them. What they throw comes out of a later call, the first
    ///                  failure in the order of the pieces; nothing after it is delivered.
    PiecesBehind(std::size_t threads, Use work, Use deliver, const PieceCounts& counts = {})
        : TurnsBehind(threads, piecesFor(threads, counts), counts.alone, asStep(std::move(work)),
                      asStep(std::move(deliver))),
          m_pieces(piecesFor(threads, counts)) {}
    ~PiecesBehind() { stop(); }

    /// A piece to be filled, when one is free: it holds what it held when it was delivered.
    Piece& free() { return m_pieces[TurnsBehind::free()]; }
    /// The piece of the last free() is filled.
    using TurnsBehind::give;
    /// Waits until all are delivered.
    using TurnsBehind::finish;

private:
    Step asStep(Use use) {
        return [this, use = std::move(use)](std::size_t i) {
            use(m_pieces[i]);
            return true;
        };
    }

    std::vector<Piece> m_pieces;
};

}  // namespace brisko

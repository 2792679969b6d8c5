#pragma once

#include <cstddef>
#include <utility>

namespace brisko {

/// A large piece of memory, all zeros, straight from the system and in its large pages where there are any: the
/// first touch of each small page costs more than all the work on it.
class PageMemory {
public:
    PageMemory() = default;
    /// Empty where the system gives none.
    explicit PageMemory(std::size_t bytes) noexcept;
    ~PageMemory();
    PageMemory(PageMemory&& other) noexcept
        : m_start(std::exchange(other.m_start, nullptr)), m_size(other.m_size) {}
    PageMemory& operator=(PageMemory&& other) noexcept {
        std::swap(m_start, other.m_start);
        std::swap(m_size, other.m_size);
        return *this;
    }

    explicit operator bool() const { return m_start != nullptr; }
    template <class Value>
    Value* as() const {
        return static_cast<Value*>(m_start);
    }

private:
    void* m_start = nullptr;
    std::size_t m_size = 0;
};

}  // namespace brisko

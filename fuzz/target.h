#pragma once

#include "support/temp_folder.h"

#include <cstdint>
#include <span>
#include <vector>

namespace brisko::fuzz {

using test::Bytes;
using ByteSpan = std::span<const std::uint8_t>;

/// Something that is fed with bytes of any kind, and knows what has to come out.
struct Target {
    const char* name;
    void (*run)(ByteSpan input);
    std::vector<Bytes> (*seeds)();  // small inputs that lead into the depth
};

/// The targets linked into this program, by name.
std::vector<Target> targets();

/// Makes a target known; one object of this class a target.
struct Registered {
    explicit Registered(const Target& target);
};

/// Ends the process when something that always holds does not.
void expect(bool holds, const char* file = __builtin_FILE(), int line = __builtin_LINE());

}  // namespace brisko::fuzz

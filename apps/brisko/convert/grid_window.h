#pragma once

#include <cstdint>
#include <string>

namespace brisko::tool {

/// Reads "A:B", "A:" or ":B": from A up to, not including, B; what is left out is the grid's end.
/// Throws Failure(Usage) when the text is none of these, or the range is empty or leaves the grid.
///   option  as the user typed it, for the message
void parseRange(const std::string& text, const std::string& option, std::uint32_t cells,
                std::uint32_t& first, std::uint32_t& end);

}  // namespace brisko::tool

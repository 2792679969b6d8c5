#pragma once

#include <exception>

namespace QelPcpLib {

/// A failure of the file layer that carries no description. The layer itself tells of failures by
/// its results and never throws it; operations on whole files describe a failed open with it.
class CpFileException : public std::exception {
public:
    const char* what() const noexcept override { return ""; }
};

}  // namespace QelPcpLib

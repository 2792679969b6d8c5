#pragma once

#include "input.h"

#include <filesystem>

namespace brisko::fuzz {

/// The folder of a target; its files are written anew for every input.
class ScanFolder : public test::TempFolder {
public:
    void write(const char* name, ByteSpan bytes) const {
        test::writeFile(*this / name, toBytes(bytes));
    }
    /// An empty file where there should be none would be an unreadable companion.
    void writeOrRemove(const char* name, ByteSpan bytes) const {
        if (bytes.empty()) {
            std::filesystem::remove(path() / name);
        } else {
            write(name, bytes);
        }
    }
    void clear() const {
        for (const std::string& name : names())
            std::filesystem::remove_all(path() / name);
    }
};

}  // namespace brisko::fuzz

#pragma once

#include "pcplib/files/progress_callback.h"
#include "support/file_size_limit.h"
#include "support/printed_by.h"
#include "support/read_points.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

namespace QelPcpLib {

/// The bytes of a compressed line.
inline brisko::test::Bytes compressedLine(const std::vector<brisko::test::ClrRecord>& line) {
    std::vector<brisko::RawRecord> records;
    for (const auto& r : line)
        records.push_back({r.x, r.y, r.z, r.fourth, r.intensity});
    brisko::test::Bytes bytes;
    brisko::encodeCompressedLine(records.data(), records.size(), bytes);
    return bytes;
}

/// Gives up at a call of the process.
class Impatient : public CProgressCallback {
public:
    explicit Impatient(int calls) : m_left(calls) {}

    void SetPos(std::uint16_t position) override {
        if (GetProcNo() != 0 && position < GetPos()) ADD_FAILURE() << "went back";
        EXPECT_LE(position, 100);
        CProgressCallback::SetPos(position);
    }
    void Poll() override {
        if (m_left-- == 0) throw 0;
    }

private:
    int m_left;
};

/// Runs a process, which answers whether it succeeded, on full disks and stopped at every call:
/// the earlier output and nothing else is left until it gets to its end.
template <class Process>
void expectEarlierOutputUntilDone(const brisko::test::TempFolder& folder, const std::string& output,
                                  std::initializer_list<rlim_t> tooSmall, const Process& process) {
    brisko::test::writeFile(output, "earlier");
    const auto names = folder.names();
    const auto expectEarlier = [&] {
        EXPECT_EQ(brisko::test::readText(output), "earlier");
        EXPECT_EQ(folder.names(), names);
    };
    for (const rlim_t size : tooSmall) {
        const brisko::test::FileSizeLimit limit(size);
        brisko::test::printedBy(
            [&] { EXPECT_FALSE(process(static_cast<CProgressCallback*>(nullptr))) << size; });
        expectEarlier();
    }
    int calls = 0;
    bool stopped = true;
    while (stopped) {
        Impatient callback(calls++);
        brisko::test::printedBy([&] {
            try {
                EXPECT_TRUE(process(&callback));
                EXPECT_EQ(callback.GetPos(), 100);
                EXPECT_EQ(callback.GetProcNo(), 1);
                stopped = false;
            } catch (int) {
            }
        });
        if (stopped) expectEarlier();
    }
    EXPECT_GT(calls, 2);
    EXPECT_EQ(folder.names(), names);
}

}  // namespace QelPcpLib

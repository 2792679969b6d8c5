// A file with a window over it, read, changed and written in any order, is an array of bytes.

#include "scan_folder.h"

#include "pcplib/files/pcp_file.h"

namespace brisko::fuzz {

namespace {

/// Bytes 3 by 3 in the second channel.
constexpr std::uint32_t kHeader = 2, kRecord = 3;

class Files {
public:
    Files(QelPcpLib::PcpFile& file, Bytes& bytes)
        : m_file(file), m_bytes(bytes), m_sizeAtOpen(bytes.size()) {}

    void step(Input& in) {
        const std::uint8_t what = in.u8() % 4;
        const std::uint32_t at = in.u16() % 600;
        if (what == 0) {
            write(at, in.take(in.u8() % 40));
        } else if (what == 3) {
            expectRecord(at);
        } else {
            expectByte(at, what == 2);
        }
    }

private:
    void expectByte(std::uint32_t at, bool change) {
        std::uint8_t* const byte = m_file.GetRecord(at, 0);
        expect((byte != nullptr) == (at < m_sizeAtOpen));
        if (!byte) return;
        expect(*byte == m_bytes[at]);
        if (change) ++*byte, ++m_bytes[at];
    }
    void expectRecord(std::uint32_t index) {
        const std::uint8_t* const record = m_file.GetRecord(index, 1);
        const std::size_t begin = kHeader + kRecord * index;
        expect((record != nullptr) == (begin + kRecord <= m_sizeAtOpen));
        if (!record) return;
        expect(std::equal(record, record + kRecord,
                          m_bytes.begin() + static_cast<std::ptrdiff_t>(begin)));
    }
    void write(std::uint32_t at, ByteSpan what) {
        expect(m_file.Seek(at));
        expect(m_file.Write(what.data(), static_cast<std::uint32_t>(what.size())));
        if (what.empty()) return;
        m_bytes.resize(std::max(m_bytes.size(), at + what.size()));
        std::copy(what.begin(), what.end(), m_bytes.begin() + at);
    }

    QelPcpLib::PcpFile& m_file;
    Bytes& m_bytes;
    const std::size_t m_sizeAtOpen;
};

void run(ByteSpan input) {
    static const ScanFolder folder;
    Input in(input);
    const std::uint32_t capacity = in.below(200), view = in.below(100);
    Bytes bytes = toBytes(in.takePiece());
    if (bytes.size() > 500) bytes.resize(500);
    folder.write("data", bytes);

    QelPcpLib::PcpFile file;
    file.SetWindowCapacity(capacity);
    file.SetViewSize(view);
    file.SetLayout(0, 1, 0);
    file.SetLayout(kHeader, kRecord, 1);
    expect(file.OpenMapped(folder / "data"));
    // Changes are noticed by a sum, which only very many of them could bring back.
    Files files(file, bytes);
    for (int steps = 0; steps < 60 && !in.empty(); ++steps)
        files.step(in);
    file.Close();
    expect(!file.HasFailed());
    std::uint8_t byte = 0;
    expect(!file.Seek(0) && !file.Write(&byte, 1) && !file.SetLength(1) && !file.GetRecord(0, 0));
    expect(file.GetPosition() == 0 && !file.WriteFileHeader(&byte, 1));
    expect(test::readFile(folder / "data") == bytes);
}

std::vector<Bytes> seeds() {
    Bytes steps = {40, 20, 200, 0};
    for (int i = 0; i < 200; ++i)
        steps.push_back(static_cast<std::uint8_t>(i));
    for (std::uint8_t at = 0; at < 250; at = static_cast<std::uint8_t>(at + 25)) {
        for (std::uint8_t what = 1; what <= 3; ++what)
            steps.insert(steps.end(), {what, at, 0});
        steps.insert(steps.end(), {0, at, 0, 5, 9, 8, 7, 6, 5});
    }
    return {steps};
}

const Registered registered({"file_window", run, seeds});

}  // namespace

}  // namespace brisko::fuzz

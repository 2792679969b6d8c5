// Objects of every class that is opened and closed, used in any order: what is closed does nothing and
// says so, copies of an open writer complete its file once, and what was completed can be read.

#include "same_points.h"
#include "scan_folder.h"

#include <brisko_codec/brisko_codec.h>

#include "pcplib/files/pcp_file.h"

#include <array>
#include <optional>

namespace brisko::fuzz {

namespace {

constexpr std::uint32_t kColumns = 9, kRows = 2;

class Grid : public GridFileHeader {
public:
    std::size_t GetAzimuthResolution() const override { return kColumns; }
    std::size_t GetZenithResolution() const override { return kRows; }
    bool Read(const char*) override { return false; }
};

/// A path of its own for each call; 0 to 3 are kinds that nothing can be written to.
class Paths {
public:
    explicit Paths(const ScanFolder& folder) : m_folder(folder) {}

    const char* next(std::uint8_t which) {
        if (which == 0) return nullptr;
        m_path = m_folder / ("w" + std::to_string(m_count++) + ".cl3");
        if (which == 1) m_path.clear();
        if (which == 2) m_path = "\xFF.cl3";
        if (which == 3) std::filesystem::create_directory(m_path);
        return m_path.c_str();
    }
    static bool isUsable(std::uint8_t which) { return which > 3; }

private:
    const ScanFolder& m_folder;
    int m_count = 0;
    std::string m_path;
};

struct Plain {
    using Writer = CL3WriterCodec;
    using Reader = CL3Codec;
    static constexpr bool kOpensWithoutFile = false;
    static void write(Writer& writer, std::uint32_t) {
        writer.WritePoint(1, 2, 3, 4, 5, 6, 7, 255);
    }
};
template <class GridWriter, class GridReader>
struct Gridded {
    using Writer = GridWriter;
    using Reader = GridReader;
    static constexpr bool kOpensWithoutFile = true;
    static void write(Writer& writer, std::uint32_t column) {
        writer.WritePoint(1, 2, 3, 4, 5, 6, 7, 255, column, 0);
    }
};

/// Writers that are copied over each other, and what is known of the file that each writes.
template <class Kind>
class Writers {
public:
    explicit Writers(const ScanFolder& folder) : m_paths(folder) {}

    void step(Input& in) {
        const std::uint8_t what = in.u8() % 8;
        Slot& slot = m_slots[in.below(3)];
        if (what == 0) {
            open(slot, in.u8() % 12, in.u8() % 4 != 0);
        } else if (what == 1) {
            close(slot);
        } else if (what == 2) {
            slot = Slot(m_slots[in.below(3)]);
        } else if (what == 3) {
            slot = Slot();
        } else {
            write(slot);
        }
    }
    void finish() {
        for (Slot& slot : m_slots)
            close(slot);
    }

private:
    struct File {
        std::string path;
        bool isOpen = false, hasFile = false, hasGrid = false;
        std::uint32_t points = 0;
    };
    struct Slot {
        typename Kind::Writer writer;
        std::shared_ptr<File> file = std::make_shared<File>();
    };

    void open(Slot& slot, std::uint8_t which, bool withGrid) {
        Grid grid;
        const bool wasOpen = slot.file->isOpen;
        const std::shared_ptr<File> earlier = slot.file;
        const char* const path = m_paths.next(which);
        const bool usable = Paths::isUsable(which);
        expect(slot.writer.Open(path, withGrid ? &grid : nullptr) ==
               (usable || Kind::kOpensWithoutFile));
        expect(slot.writer.HasWriteError() == !usable);
        if (wasOpen) expectComplete(*earlier);
        slot.file = std::make_shared<File>();
        slot.file->isOpen = usable || Kind::kOpensWithoutFile;
        slot.file->hasFile = usable;
        slot.file->hasGrid = withGrid;
        slot.file->path = path ? path : "";
    }
    void close(Slot& slot) {
        const bool wasOpen = slot.file->isOpen;
        expect(slot.writer.Close() == wasOpen);
        if (wasOpen) expectComplete(*slot.file);
    }
    void write(Slot& slot) {
        File& file = *slot.file;
        if (file.isOpen && file.points == kColumns) return;
        Kind::write(slot.writer, file.points);
        file.points += file.isOpen;
    }
    void expectComplete(File& file) const {
        file.isOpen = false;
        if (!file.hasFile) return;
        const bool keeps = file.hasGrid || !Kind::kOpensWithoutFile;
        expect(test::readScan<typename Kind::Reader>(file.path).size() ==
               (keeps ? file.points : 0U));
    }

    Paths m_paths;
    std::array<Slot, 3> m_slots;
};

/// A reader of cells of a scan that has one point, in its first cell.
class Cells {
public:
    explicit Cells(const ScanFolder& folder) : m_paths(folder) {}

    void step(Input& in) {
        const std::uint8_t what = in.u8() % 5;
        if (what == 0) {
            m_isOpen = in.u8() % 2 == 0;
            expect(m_reader.open(m_isOpen ? scan().c_str() : m_paths.next(in.u8() % 4)) ==
                   m_isOpen);
        } else if (what == 1) {
            m_reader.close();
            m_isOpen = false;
        } else if (what == 2) {
            m_reader.setFrame(in.u8() % 2 == 0 ? Frame::Aligned : Frame::Scanner);
        } else if (what == 3) {
            CellPoint point;
            expect((m_reader.readCell(0, in.below(2), point) == CellState::Point) <= m_isOpen);
            expect(m_reader.columns() == (m_isOpen ? kColumns : 0));
            expect((m_reader.endRow() > 0) == m_isOpen);
        } else {
            std::vector<CellPoint> points(5);
            m_reader.readWindow({0, in.u8(), 0, in.u8()}, points);
            expect(points.size() <= (m_isOpen ? 1U : 0U));
        }
    }
    void finish() {}

private:
    static const std::string& scan() {
        static const ScanFolder folder;
        static const std::string path = writeScan(folder / "scan.cl3");
        return path;
    }
    static std::string writeScan(const std::string& path) {
        CL3IJWriterGridCodec writer;
        Grid grid;
        expect(writer.Open(path.c_str(), &grid));
        writer.WritePoint(1, 2, 3, 4, 5, 6, 7, 255, 0, 0);
        expect(writer.Close());
        return path;
    }

    Paths m_paths;
    CL3CellReader m_reader;
    bool m_isOpen = false;
};

/// A file with a window over it.
class Mapping {
public:
    explicit Mapping(const ScanFolder& folder) : m_folder(folder), m_paths(folder) {
        m_file.SetWindowCapacity(64);
        m_file.SetLayout(2, 3, 0);
    }
    void step(Input& in) {
        const std::uint8_t what = in.u8() % 8, size = in.u8();
        std::uint8_t bytes[256] = {};
        const std::string path = m_folder / "data";
        if (what == 0) {
            expect(m_file.CreateMapped(path, size) == m_file.IsOpen());
        } else if (what == 1) {
            expect(m_file.OpenMapped(path) == m_file.IsOpen());
        } else if (what == 2) {
            const char* const bad = m_paths.next(size % 4);
            expect(!m_file.OpenMapped(bad ? bad : "") && !m_file.IsOpen());
        } else if (what == 3) {
            m_file.Close();
            expect(!m_file.IsOpen());
        } else if (what == 4) {
            expect(m_file.Seek(size) == m_file.IsOpen());
            expect(m_file.Write(bytes, size % 9) == m_file.IsOpen());
        } else if (what == 5) {
            expect(m_file.SetLength(size) == m_file.IsOpen());
        } else if (what == 6) {
            expect(m_file.ReadFileHeader(bytes, 0) == 2);
            expect(m_file.WriteFileHeader(bytes, 0) == m_file.IsOpen());
        } else {
            expect(m_file.IsOpen() || !m_file.GetRecord(size, 0));
            expect(m_file.IsOpen() || m_file.GetPosition() == 0);
        }
    }
    void finish() {}

private:
    const ScanFolder& m_folder;
    Paths m_paths;
    QelPcpLib::PcpFile m_file;
};

template <class Objects>
void use(Input& in, const ScanFolder& folder) {
    Objects objects(folder);
    for (int steps = 0; steps < 40 && !in.empty(); ++steps)
        objects.step(in);
    objects.finish();
}

void run(ByteSpan input) {
    static const ScanFolder folder;
    folder.clear();
    Input in(input);
    switch (in.u8() % 5) {
        case 0:
            return use<Writers<Plain>>(in, folder);
        case 1:
            return use<Writers<Gridded<CL3IJWriterGridCodec, CL3GridCodec>>>(in, folder);
        case 2:
            return use<Writers<Gridded<CLRWriterGridCodec, CLRGridCodec>>>(in, folder);
        case 3:
            return use<Cells>(in, folder);
        default:
            return use<Mapping>(in, folder);
    }
}

std::vector<Bytes> seeds() {
    // Opened, written, copied, written by the copy, closed twice, opened where nothing can be; then all
    // numbers in turn.
    Bytes steps = {0, 0, 5, 1, 4, 0, 2, 1, 0, 4, 1, 1, 1, 1, 0, 4, 0, 0, 1, 2, 1, 4, 1, 3, 1};
    for (std::uint8_t i = 0; i < 60; ++i)
        steps.push_back(i);
    std::vector<Bytes> all;
    for (std::uint8_t kind = 0; kind < 5; ++kind) {
        steps.insert(steps.begin(), kind);
        all.push_back(steps);
        steps.erase(steps.begin());
    }
    return all;
}

const Registered registered({"misuse", run, seeds});

}  // namespace

}  // namespace brisko::fuzz

#pragma once

#include "base/file.h"

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace brisko {

/// A file descriptor that closes itself.
class Descriptor {
public:
    explicit Descriptor(int number = -1) : m_number(number) {}
    ~Descriptor() { close(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int number() const { return m_number; }
    bool isOpen() const { return m_number >= 0; }
    /// Takes charge of another one.
    void reset(int number) {
        close();
        m_number = number;
    }

private:
    void close() const;

    int m_number;
};

using OpenFolder = std::shared_ptr<const Descriptor>;

/// Where an output appears: a folder that is held open, so that it stays the same folder whatever
/// others do to the names that lead to it, and a name in it.
struct OutputPlace {
    OpenFolder folder;
    std::string name;
    std::string path;  // of the file, symbolic links resolved

    /// Finds the place of an output; a symbolic link is followed, also one that leads to nothing yet.
    ///   sibling  another place, whose open folder is used again where it is the same one
    /// Returns: false with errno set when there is no such folder.
    bool find(const std::string& output, const OutputPlace* sibling = nullptr);
    /// Sees that the folder's names are on the disk. Returns false with errno set when it is not so.
    bool sync() const;
};

/// A new folder in the folder of an output, for the files that become that output. Its name cannot
/// be guessed and nobody else may enter it, so that nothing can be planted where those files are
/// written, nor be taken for them; they are reached through the open folder, not through its name.
/// It goes with the object, with every file that add() was given.
class PrivateFolder {
public:
    /// Returns: null with errno set when no folder can be made there.
    static std::shared_ptr<PrivateFolder> create(const OutputPlace& place);
    ~PrivateFolder();
    PrivateFolder(const PrivateFolder&) = delete;
    PrivateFolder& operator=(const PrivateFolder&) = delete;

    int descriptor() const { return m_descriptor.number(); }
    /// A path that leads to a file in the folder, for everything that opens by path.
    std::string pathOf(const std::string& name) const { return m_path + "/" + name; }
    /// The folder as users see it.
    const std::string& shownPath() const { return m_shownPath; }

    /// The stem of names that nothing in the folder has yet.
    std::string newStem() { return std::to_string(m_stems++); }
    /// Notes a file that is to go with the folder; it may not be there yet.
    void add(std::string name) { m_names.push_back(std::move(name)); }
    /// Creates an empty file. Returns false with errno set on failure.
    bool createFile(const std::string& name) const;
    /// The files stay, for the user to fetch.
    void keep() { m_isKept = true; }

private:
    PrivateFolder(const OutputPlace& place, std::string name);
    bool make();

    OpenFolder m_outer;
    std::string m_name;  // in the outer folder
    Descriptor m_descriptor;
    uid_t m_owner = 0;
    std::string m_path, m_shownPath;
    unsigned m_stems = 0;
    std::vector<std::string> m_names;
    bool m_isMade = false;
    bool m_isKept = false;
};

/// A file without a name for what does not fit into memory: it lies on the disk of an output, and
/// goes with the object or with the process.
class SpillFile {
public:
    /// Creates the file when the first bytes come.
    ///   beside  a path in the folder that it lies in
    explicit SpillFile(std::string beside = {}) : m_beside(std::move(beside)) {}

    /// Appends bytes. Returns false with errno set when they cannot be written.
    bool append(const void* bytes, std::size_t size);
    /// Reads bytes that were appended. Returns false when they cannot be read.
    bool read(std::uint64_t offset, void* out, std::size_t size) const;
    /// Where the next bytes go.
    std::uint64_t end() const { return m_end; }
    /// Forgets all bytes; the file takes no more room for the next ones.
    void clear() { m_end = 0; }

private:
    bool create();

    std::string m_beside;
    FilePtr m_file;
    std::uint64_t m_end = 0;
};

}  // namespace brisko

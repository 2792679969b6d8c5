#pragma once

#include "base/private_folder.h"

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace brisko {

/// An output that appears under its name when it is complete, or not at all: a file, or a scan with
/// its companions. It is written in a private folder beside its place (base/private_folder.h), by any
/// means that take a path; without publish() nothing of it remains, and what was there stays.
///
/// A scan and its companions take their places one after the other, and a process can be killed in
/// between. So that no scan is ever read with the alignment or the index of another one:
///
/// - Where the scan is new, its companions come first and the scan comes last.
/// - Where it replaces an older one, its ".alg" is first replaced by a text that no reader takes for
///   an alignment; readers then report AlignmentSource::Unreadable, and the tool refuses the scan. The
///   old index goes, the scan comes, the index comes, and the ".alg" comes last (or the text goes).
///
/// A failure on the way takes back what was done, in reverse order: older files are kept in the private
/// folder until the end. Where they cannot be taken back either, that folder stays.
class StagedOutput {
public:
    enum class Companions {
        ByExtension,  // ".cl3": index and alignment; ".clr": alignment; else none
        None,
    };

    StagedOutput() = default;
    StagedOutput(const StagedOutput&) = delete;
    StagedOutput& operator=(const StagedOutput&) = delete;

    /// Creates an empty file that becomes the output.
    ///   output   where it will appear; where that is a symbolic link, the file that it leads to
    ///   sibling  another output, whose private folder serves for both where they appear in one folder
    /// Returns: false with errno set on failure, also where the output is there and not writable.
    bool create(const std::string& output, Companions companions,
                const StagedOutput* sibling = nullptr);

    bool isReady() const { return m_folder != nullptr; }
    /// Where to write; with the extension of the output. Writers put companions beside it.
    const std::string& path() const { return m_path; }
    /// Where a companion is written: extension ".ij" or ".alg".
    std::string companion(std::string_view extension) const;
    /// The file that will appear, links resolved.
    const std::string& target() const { return m_scan.place.path; }
    /// The ".alg" that belongs to it; empty where there is none.
    const std::string& alignmentTarget() const { return m_alignment.place.path; }

    /// The ".alg" beside the output is another scan's as well and stays as it is.
    void leaveAlignment() { m_alignment.place = {}; }
    /// An older ".alg" goes only for a new one: it stays beside a scan that brings none.
    void keepOlderAlignment() { m_keepsAlignment = true; }

    /// Brings the closed files to the disk; `between` is called often, and may throw.
    /// Returns false with errno set on failure.
    bool sync(const std::function<void()>& between) const;
    /// Puts the files in their places, each with the permissions (and, where possible, the owner) of
    /// the one that it replaces. Older companions that the new scan does not have are removed.
    /// Returns: false with errno set on failure; the older files are then as they were unless
    /// keptIn() says otherwise.
    bool publish();
    /// Removes the files that were not published.
    void discard();

    /// Of a failed publish(): the file that could not be put in place or removed.
    const std::string& failedAt() const { return m_failed ? m_failed->place.path : target(); }
    /// Of a failed publish() that could not be taken back: the folder that holds the older files and
    /// the new ones. Empty otherwise.
    std::string keptIn() const { return m_isKept ? m_folder->shownPath() : ""; }

private:
    /// One of the files. Without a place it is none of this output's.
    struct Part {
        OutputPlace place;
        std::string staged;  // name in the private folder
        std::string saved;   // name there of the file that it replaces
        bool isNew = false;
        bool isReplacing = false;
        bool isSaved = false;
    };
    enum class Step { Mark, Clear, Put };
    struct Change {
        Part* part;
        Step step;
    };

    bool findPart(Part& part, const std::string& output, const std::string& stem,
                  std::string_view extension);
    bool prepare(Part& part);
    bool createMark();
    std::vector<Change> changes();
    bool make(const Change& change);
    bool takeBack(const Change& change) const;
    bool makeAll(const std::vector<Change>& all);
    bool isIn(const Part& part) const;

    std::shared_ptr<PrivateFolder> m_folder;
    std::string m_path;
    std::string m_mark;  // name in the private folder
    Part m_scan, m_index, m_alignment;
    const Part* m_failed = nullptr;
    bool m_keepsAlignment = false;
    bool m_isKept = false;
};

/// Whether an ".alg" is the text that stands there while a scan is being replaced: what a process
/// leaves that was killed meanwhile.
bool isReplacementMark(const std::string& path);

/// Gives a file a new content, complete or not at all. Where the folder takes no new file, a file that
/// may be written is rewritten where it is; its first byte then comes last.
/// Returns: false with errno set on failure, also where the file is there and not writable; the file
/// is then as it was, or, where it was being rewritten in its place, begins with a zero byte.
bool replaceFile(const char* path, std::string_view content);

}  // namespace brisko

#pragma once

#include <brisko_codec/conversions.h>
#include <brisko_codec/progress.h>

#include <string>
#include <utility>

namespace brisko {

/// Why a conversion failed. One belongs to each call, and goes down with it to where the reason is
/// known.
class ConversionReport {
public:
    /// Keeps the first reason. Returns false, so that what fails can return it.
    bool fail(ConversionProblem problem, const std::string& file, const char* text) {
        if (m_result.problem != ConversionProblem::None) return false;
        m_result.problem = problem;
        m_result.file = file;
        m_result.text = text;
        return false;
    }
    bool failToRead(const std::string& file) {
        return fail(ConversionProblem::CannotRead, file,
                    "it cannot be opened, or describes nothing that can be read to its end");
    }
    bool failToFit(const std::string& output) {
        return fail(ConversionProblem::TooLarge, output,
                    "the grid asks for more than the input gives reason for, or the disk has");
    }
    bool failToWrite(const std::string& output) {
        return fail(ConversionProblem::CannotWrite, output, "it cannot be written");
    }
    /// No text that could need memory.
    void failForMemory() { m_result.problem = ConversionProblem::OutOfMemory; }

    /// What was wrong with the input, whether that ended the conversion or not.
    void noteDamage(const ReadProblem& damage) {
        if (!m_result.damage) m_result.damage = damage;
    }

    ConversionResult take() { return std::move(m_result); }

private:
    ConversionResult m_result;
};

// The drivers of the processing library and the conversions of CLR scans, connected to a host's tracker
// (which may be null) under their labels. Outputs are staged; each answers whether all went well, and
// reports why not.

/// Indexes a CL3 scan with the cells of the raw scan it was made from.
bool runIndexing(const std::string& input, const std::string& rawScan, const std::string& output,
                 vexo::ProgressTracker* tracker, ConversionReport& report);

/// Indexes a CL3 scan anew with the cells of its index.
bool runIndexing2(const std::string& input, const std::string& output,
                  vexo::ProgressTracker* tracker, ConversionReport& report);

/// Indexes a CL3 scan by the angles of its points.
bool runIndexingByAngles(const std::string& input, const std::string& output,
                         vexo::ProgressTracker* tracker, ConversionReport& report);

/// Writes a copy of a CLR scan with its lines sorted beside it.
bool runSortClr(const std::string& input, vexo::ProgressTracker* tracker, ConversionReport& report);

/// Merges two CLR scans of one series.
bool runMerge(const std::string& first, const std::string& second, const std::string& output,
              vexo::ProgressTracker* tracker, ConversionReport& report);

/// Converts a CLR scan into a CL3 scan: an indexed one where the output's base is an index base, so
/// that every file named "_index" has its index, and a plain one otherwise. Points are carried in the
/// scanner's frame; the alignment goes along as a matrix.
///   aligned  the scan whose alignment file counts: the input, or the first of the series that the
///            input was merged from
/// Returns: false unless the whole scan was written and put in place; the report then says why.
bool convertClrToCl3(const std::string& input, const std::string& aligned,
                     const std::string& output, vexo::ProgressTracker* tracker,
                     ConversionReport& report);

/// The same, always indexed, under its own label.
bool convertClrToCl3Ij(const std::string& input, const std::string& aligned,
                       const std::string& output, vexo::ProgressTracker* tracker,
                       ConversionReport& report);

}  // namespace brisko

#pragma once

#include <brisko_codec/conversions.h>

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

}  // namespace brisko

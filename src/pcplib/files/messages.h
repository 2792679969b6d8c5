#pragma once

#include <exception>

/// The diagnostics of the file layer, as they reach standard output. The Japanese ones are bytes of
/// Shift_JIS (code page 932), written as escapes; the remark above each translates it.
namespace QelPcpLib::message {

// file [path] cannot be opened
inline constexpr char kCannotOpenForWriting[] =
    "WriteALGFile() : \314\247\262\331[%s]\202\252\212J\202\257\202\334\202\271\202\361\n";
// file [path] cannot be opened
inline constexpr char kCannotOpenForReading[] =
    "ReadALGFile() : \314\247\262\331[%s]\202\252\212J\202\257\202\334\202\271\202\361\n";
// the header of the ALG file has the wrong version
inline constexpr char kWrongVersion[] =
    "ALG\203t\203@\203C\203\213\202\314\203w\203b\203_\203o\201["
    "\203W\203\207\203\223\203G\203\211\201[\n";

inline constexpr char kHeaderNotWritten[] = "ALGFile Header Write Err\n";
inline constexpr char kAreaNotWritten[] = "ALGFile Sub Write Write Err\n";

// a row of three black squares on either side
inline constexpr char kCannotOpenMapped[] =
    "\201\241\201\241\201\241err :file open\201\241\201\241\201\241\n";
inline constexpr char kCannotCreateMapped[] = "err :file create\n";
// Deliberate: no line end.
inline constexpr char kNoMapping[] = "err : CreateFileMapping";
inline constexpr char kPositionOver[] = "err: file position over\n";

// Thrown as a plain character string.
inline constexpr char kOutOfMemory[] = "out of memory in PCP file mapping!";

}  // namespace QelPcpLib::message

namespace QelPcpLib {

/// A failure of the file layer that carries no description. The layer itself reports failures by
/// its results and never throws it; operations on whole files describe a failed open with it.
class CpFileException : public std::exception {
public:
    const char* what() const noexcept override { return ""; }
};

}  // namespace QelPcpLib

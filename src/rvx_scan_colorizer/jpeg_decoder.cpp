#include "rvx_scan_colorizer/jpeg_decoder.h"

#include <algorithm>
#include <csetjmp>
#include <cstdio>  // before the decoder's header, which needs it

#include <jpeglib.h>

namespace brisko {

namespace {

/// The state of one decoding. The decoder is C: what ends it jumps to `end`.
struct Decoding {
    jpeg_decompress_struct info{};
    jpeg_error_mgr errors{};
    jpeg_progress_mgr progress{};
    std::jmp_buf end{};
    JpegOutcome outcome;
    const GoesOn* goesOn = nullptr;
    unsigned calls = 0;
    bool isStopped = false;
};

Decoding& decodingOf(j_common_ptr info) {
    return *static_cast<Decoding*>(info->client_data);
}

[[noreturn]] void end(j_common_ptr info) {
    std::longjmp(decodingOf(info).end, 1);
}

void takeMessage(j_common_ptr info, int level) {
    if (level < 0) decodingOf(info).outcome.metDamage = true;
}

bool goesOn(Decoding& decoding) noexcept try { return (*decoding.goesOn)(); } catch (...) {
    return false;  // an exception must not pass through the decoder
}

/// Called for every few rows, of a progressive file for those of each scan.
void ask(j_common_ptr info) {
    constexpr unsigned kCalls = 16;  // a millisecond or two
    Decoding& decoding = decodingOf(info);
    if (decoding.calls++ % kCalls != 0 || goesOn(decoding)) return;
    decoding.isStopped = true;
    end(info);
}

void prepare(Decoding& decoding, const GoesOn& goesOn) {
    decoding.info.err = jpeg_std_error(&decoding.errors);
    decoding.errors.error_exit = end;
    decoding.errors.emit_message = takeMessage;
    decoding.info.client_data = &decoding;
    decoding.goesOn = &goesOn;
    decoding.progress.progress_monitor = ask;
}

/// Nothing in here has a destructor, as it may be left by a jump.
bool run(Decoding& decoding, std::span<const std::uint8_t> bytes, PhotoRows& photo) {
    if (setjmp(decoding.end) != 0) return false;
    jpeg_decompress_struct& info = decoding.info;
    jpeg_create_decompress(&info);
    if (*decoding.goesOn) info.progress = &decoding.progress;
    jpeg_mem_src(&info, bytes.data(), static_cast<unsigned long>(bytes.size()));
    jpeg_read_header(&info, TRUE);
    info.out_color_space = JCS_EXT_BGR;
    info.dct_method = JDCT_FASTEST;
    jpeg_start_decompress(&info);
    const auto columns = static_cast<JDIMENSION>(photo.columns()),
               rows = static_cast<JDIMENSION>(photo.rows());
    if (info.output_width != columns || info.output_height != rows) return false;
    JSAMPROW places[PhotoRows::kRoom];
    for (int i = 0; i < PhotoRows::kRoom; ++i)
        places[i] = photo.row(i);
    while (info.output_scanline < rows) {
        const JDIMENSION count =
            std::min<JDIMENSION>(PhotoRows::kRoom, rows - info.output_scanline);
        for (JDIMENSION i = 0; i < count;)
            i += jpeg_read_scanlines(&info, places + i, count - i);
        photo.take(static_cast<int>(count));
    }
    jpeg_finish_decompress(&info);
    return true;
}

}  // namespace

JpegOutcome decodeJpeg(std::span<const std::uint8_t> bytes, PhotoRows& photo,
                       const GoesOn& goesOn) {
    Decoding decoding;
    prepare(decoding, goesOn);
    const bool isDone = run(decoding, bytes, photo);
    jpeg_destroy_decompress(&decoding.info);
    if (decoding.isStopped) throw WorkStopped();
    decoding.outcome.isWhole = isDone && !decoding.outcome.metDamage;
    return decoding.outcome;
}

}  // namespace brisko

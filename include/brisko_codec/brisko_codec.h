#pragma once

/// Everything that the library offers to a host. Start with codec.h (reading), writers.h (writing)
/// and file_header.h (what a scan says about itself).

#include <brisko_codec/alignment.h>
#include <brisko_codec/block_header.h>
#include <brisko_codec/cell_reader.h>
#include <brisko_codec/cl3_codec.h>
#include <brisko_codec/cloud_transformation.h>
#include <brisko_codec/clr_codec.h>
#include <brisko_codec/codec.h>
#include <brisko_codec/color_codec.h>
#include <brisko_codec/column_range.h>
#include <brisko_codec/compressed_lines.h>
#include <brisko_codec/conversions.h>
#include <brisko_codec/dictionary.h>
#include <brisko_codec/export.h>
#include <brisko_codec/file_header.h>
#include <brisko_codec/point_batch.h>
#include <brisko_codec/point_records.h>
#include <brisko_codec/progress.h>
#include <brisko_codec/scan_photos.h>
#include <brisko_codec/skip_codec.h>
#include <brisko_codec/threads.h>
#include <brisko_codec/trace.h>
#include <brisko_codec/utf8.h>
#include <brisko_codec/version.h>
#include <brisko_codec/vexo_diagnostics.h>
#include <brisko_codec/writers.h>

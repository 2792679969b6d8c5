#pragma once

#include <brisko_codec/export.h>
#include <brisko_codec/progress.h>

#include <string>

/// Conversions of a scan into an indexed CL3 scan: scan_index.cl3 with its ".ij" and ".alg".
///
/// Paths are UTF-8. Names are compared as they are spelled: ".clr" or ".CLR", ".cl3" or ".CL3", and
/// an indexed scan is one whose name without its last four characters ends in "_index" or "_INDEX".
///
/// Results:  true when all went well, which includes that there was nothing to do; false otherwise.
///           What the tracker's monitors throw comes out, above all CancelProgressRequest; nothing
///           else does.
///           A file of the scan that is there but cannot be opened or read to its end (an I/O error, no
///           permission, no descriptors, no memory) makes the result false; it is never taken for a
///           missing one or for the end of the data.
/// Outputs:  written in a private folder (".brisko-" and 32 hexadecimal digits) beside the output and
///           put in place, flushed to the disk, when complete. An output that was there before stays
///           until then, and for ever when the conversion fails. The input and its ".alg" are never
///           written. A process that is killed may leave its private folder, and, where it was just
///           replacing an older scan, an ".alg" that readers report as AlignmentSource::Unreadable.
/// Points:   every point keeps its coordinates to the bit and its cell; the alignment is passed on as
///           a matrix, so that reading the output gives the same points as reading the input.
/// Threads:  several conversions may run side by side, each with a tracker of its own.
/// Standard output: the processing library prints diagnostics there.

/// Indexes a CL3 scan anew: scan.cl3 with scan.ij beside it becomes scan_index.cl3. A scan that is
/// indexed by its name, and one without an index, are left as they are, with true.
///   tracker  may be null
/// Writes, and replaces where they are there: NAME_index.cl3, NAME_index.ij, NAME_index.alg.
BRISKO_CODEC_EXPORT bool Cl3IjIndexed(std::string path, brisko::vexo::ProgressTracker* tracker);

/// Converts a CLR scan. "a_000.clr" stands for the whole series a_000.clr, a_001.clr and so on, which
/// is merged into a.clr or am.clr first.
///
/// What comes out depends on the scanner (first seven characters of the model) and point format:
///   RVX2000                             format 3: scan_index.cl3, with true whatever happens;
///                                       below 3: scan_index.cl3; above 3: nothing, with true
///   RXL1000, QLDStat, QLD-Sta, RV-1003  format 3: scan_index.cl3; others as below
///   any other                           scan.cl3, and scan_index.cl3 from that; with two or more
///                                       blocks also scan.clr.Converted.clr, the same scan with its
///                                       lines sorted; no blocks: nothing, with true
/// An input that is indexed by its name becomes an indexed scan.cl3.
///
/// CAUTION: files that the caller did not name are written, and REPLACE files of these names without a
/// question; intermediate ones stay when all is done, and also after a failure:
///   NAME_index.cl3, .ij, .alg  the indexed scan
///   NAME.cl3                   the plain scan, for scanners of the third row above. An older scan of
///                              that name is lost, one with colours too, and its index NAME.ij is
///                              removed, as it would not fit any more. NAME.alg, the alignment of the
///                              input, stays.
///   NAME.clr.Converted.clr     the copy with sorted lines
///   PREFIX.clr, PREFIXm.clr    the merged series, for an input PREFIX_000.clr: a raw scan that happens
///                              to have one of these names is lost
///   NAME.cl3, .ij              for an input NAME.clr whose NAME ends in "_index" or "_INDEX"; its
///                              alignment stays the file NAME.alg of the input
/// NAME is the path without its last four characters. Outputs end in ".cl3" whatever the spelling of the
/// input, so scan.CLR and scan.clr, or scan.CLR and scan.CL3, share theirs.
BRISKO_CODEC_EXPORT bool ClrToCl3IjIndexed(std::string path,
                                           brisko::vexo::ProgressTracker* tracker);

/// The same without a tracker.
BRISKO_CODEC_EXPORT bool ConvertCl3ToCl3Indexed(std::string path);
BRISKO_CODEC_EXPORT bool ConvertClrToCl3Indexed(std::string path);

namespace brisko {

/// Indexes a CL3 scan that has no index, by the directions of its points: azimuth counter-clockwise
/// from +x and zenith angle from +z, degrees, from the start angles and steps of its header (or
/// elevations, where the header's numbers leave 0 to 180). Points of one cell are all kept: the later
/// ones go to the nearest free cells. An index that lies beside the input is not looked at.
///   output   a name that ends in ".cl3" or ".CL3"; its ".ij" and ".alg" go beside it
///   tracker  may be null
/// Writes, and replaces where they are there: the output, its ".ij" and its ".alg"; a ".spill" file of a
/// temporary name, 40 bytes for every point, exists during the call.
/// Returns: false also when the header gives no usable grid, or the points do not fit into it.
BRISKO_CODEC_EXPORT bool indexCL3ByAngles(const std::string& input, const std::string& output,
                                          vexo::ProgressTracker* tracker);

}  // namespace brisko

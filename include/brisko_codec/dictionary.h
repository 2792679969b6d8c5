#pragma once

#include <brisko_codec/export.h>

#include <string>

/// The names under which the long operations report their progress.
struct BRISKO_CODEC_EXPORT BriskoCodecDictionary {
    BriskoCodecDictionary();
    BriskoCodecDictionary(const BriskoCodecDictionary&);
    BriskoCodecDictionary(BriskoCodecDictionary&&) noexcept;
    BriskoCodecDictionary& operator=(const BriskoCodecDictionary&);
    BriskoCodecDictionary& operator=(BriskoCodecDictionary&&) noexcept;
    ~BriskoCodecDictionary();

    std::string pcpUnknown = "Pcp Unknown";
    std::string pcpIndexing1 = "Pcp Indexing1";
    std::string pcpIndexing2 = "Pcp Indexing2";
    std::string pcpIndexing3 = "Pcp Indexing3";
    std::string pcpSortClr = "Pcp SortCLR";
    std::string pcpCombineMultiClr = "Pcp combineMultiCLR";
    std::string convertClrToCl3Ij = "Convert CLR to CL3+IJ";
    std::string convertClrToCl3 = "Convert CLR to CL3";
    std::string reuniteDomeCl3 = "Reunite Dome CL3";
    std::string convertToVrrgl = "convertToVrrgl";
    std::string coloriseVrglInPlace = "Colorise VRGL in place";
    std::string convert = "Convert";
    std::string grid = "Grid";
};

/// The one dictionary of the process, built when the library is loaded. Never null; not to be freed.
/// Threads: read it freely; a host that changes a label does so before it starts an operation.
BRISKO_CODEC_EXPORT BriskoCodecDictionary* getBriskoCodecDictionary();

#include <brisko_codec/dictionary.h>

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace {

TEST(Dictionary, HoldsTheseLabels) {
    const BriskoCodecDictionary& labels = *getBriskoCodecDictionary();
    const std::pair<std::string, const char*> expected[] = {
        {labels.pcpUnknown, "Pcp Unknown"},
        {labels.pcpIndexing1, "Pcp Indexing1"},
        {labels.pcpIndexing2, "Pcp Indexing2"},
        {labels.pcpIndexing3, "Pcp Indexing3"},
        {labels.pcpSortClr, "Pcp SortCLR"},
        {labels.pcpCombineMultiClr, "Pcp combineMultiCLR"},
        {labels.convertClrToCl3Ij, "Convert CLR to CL3+IJ"},
        {labels.convertClrToCl3, "Convert CLR to CL3"},
        {labels.reuniteDomeCl3, "Reunite Dome CL3"},
        {labels.convertToVrrgl, "convertToVrrgl"},
        {labels.coloriseVrglInPlace, "Colorise VRGL in place"},
        {labels.convert, "Convert"},
        {labels.grid, "Grid"},
    };
    for (const auto& [label, text] : expected)
        EXPECT_EQ(label, text);
    EXPECT_EQ(sizeof(BriskoCodecDictionary), 13 * sizeof(std::string));
}

TEST(Dictionary, IsOneForTheWholeProcess) {
    EXPECT_EQ(getBriskoCodecDictionary(), getBriskoCodecDictionary());
    BriskoCodecDictionary copy = *getBriskoCodecDictionary();
    copy.grid = "Raster";
    EXPECT_EQ(getBriskoCodecDictionary()->grid, "Grid");
}

}  // namespace

#include <brisko_codec/dictionary.h>
#include <brisko_codec/version.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

TEST(Dictionary, HoldsTheseLabels) {
    const BriskoCodecDictionary& labels = *getBriskoCodecDictionary();
    const std::vector<std::string> actual = {labels.pcpUnknown,
                                             labels.pcpIndexing1,
                                             labels.pcpIndexing2,
                                             labels.pcpIndexing3,
                                             labels.pcpSortClr,
                                             labels.pcpCombineMultiClr,
                                             labels.convertClrToCl3Ij,
                                             labels.convertClrToCl3,
                                             labels.reuniteDomeCl3,
                                             labels.convertToVrrgl,
                                             labels.coloriseVrglInPlace,
                                             labels.convert,
                                             labels.grid};
    const std::vector<std::string> expected = {"Pcp Unknown",
                                               "Pcp Indexing1",
                                               "Pcp Indexing2",
                                               "Pcp Indexing3",
                                               "Pcp SortCLR",
                                               "Pcp combineMultiCLR",
                                               "Convert CLR to CL3+IJ",
                                               "Convert CLR to CL3",
                                               "Reunite Dome CL3",
                                               "convertToVrrgl",
                                               "Colorise VRGL in place",
                                               "Convert",
                                               "Grid"};
    EXPECT_EQ(actual, expected);
    EXPECT_EQ(sizeof(BriskoCodecDictionary), 13 * sizeof(std::string));
}

TEST(Dictionary, IsOneForTheWholeProcess) {
    EXPECT_EQ(getBriskoCodecDictionary(), getBriskoCodecDictionary());
    BriskoCodecDictionary copy = *getBriskoCodecDictionary();
    copy.grid = "Raster";
    EXPECT_EQ(getBriskoCodecDictionary()->grid, "Grid");
}

TEST(Version, IsTheReleaseOfTheLibrary) {
    EXPECT_EQ(briskoCodecVersion(), "1.3.0");
}

}  // namespace

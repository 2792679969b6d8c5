#include <brisko_codec/dictionary.h>

BriskoCodecDictionary::BriskoCodecDictionary() = default;
BriskoCodecDictionary::BriskoCodecDictionary(const BriskoCodecDictionary&) = default;
BriskoCodecDictionary::BriskoCodecDictionary(BriskoCodecDictionary&&) noexcept = default;
BriskoCodecDictionary& BriskoCodecDictionary::operator=(const BriskoCodecDictionary&) = default;
BriskoCodecDictionary& BriskoCodecDictionary::operator=(BriskoCodecDictionary&&) noexcept = default;
BriskoCodecDictionary::~BriskoCodecDictionary() = default;

namespace {

BriskoCodecDictionary theDictionary;

}  // namespace

BriskoCodecDictionary* getBriskoCodecDictionary() {
    return &theDictionary;
}

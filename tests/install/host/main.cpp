#include <brisko_codec/brisko_codec.h>

#include <cstdio>
#include <string>

/// Members that hosts may need of the classes which have no other code of theirs.
template <class Class>
bool assigns() {
    Class& (Class::*const copy)(const Class&) = &Class::operator=;
    Class& (Class::*const move)(Class &&) = &Class::operator=;
    return copy != nullptr && move != nullptr;
}

/// Writes a scan with the installed library and reads it back.
int main(int, char** argv) {
    const std::string path = std::string(argv[0]) + ".cl3";
    CL3FileHeader header;
    header.SetStopAzimuthAngle(2.0F);
    header.SetDeltaAzimuthAngle(1.0F);
    header.SetStopZenithAngle(3.0F);
    header.SetDeltaZenithAngle(1.0F);
    CL3IJWriterGridCodec writer;
    writer.Open(path.c_str(), &header);
    writer.WritePoint(1.0, 2.0, 3.0, 4.0F, 5, 6, 7, 255, 1, 2);
    writer.Close();
    if (writer.HasWriteError()) return 1;

    CL3GridCodec* const reader = CL3GridCodec::Create();
    double x = 0, y = 0, z = 0;
    float intensity = 0;
    std::uint8_t red = 0, green = 0, blue = 0, alpha = 0;
    unsigned column = 0, row = 0;
    const bool found =
        reader->Open(path.c_str()) &&
        reader->ReadFirstGridPoint(x, y, z, intensity, red, green, blue, alpha, column, row);
    const std::int64_t count = reader->GetPointCount();
    BriskoCodec::Destroy(reader);
    std::printf("brisko_codec %s: cell %u %u at %g %g %g\n", briskoCodecVersion().c_str(), column,
                row, x, y, z);
    const bool linked = assigns<BriskoCodec>() && assigns<BriskoGridCodec>() &&
                        assigns<CL3GridCodec>() && assigns<CLRFileHeader>() &&
                        assigns<SkipCodecCreator>() && assigns<ColorCodecCreator>();
    return linked && found && count == 1 && column == 1 && row == 2 && z == 3.0 ? 0 : 1;
}

#include <brisko_codec/brisko_codec.h>
#include <cstdio>
int main(int, char** argv) {
    BriskoCodec* scan = CL3Codec::Create();
    double x, y, z, top = -1e300;
    float intensity;
    std::uint8_t r, g, b, a;
    bool more = scan->Open(argv[1]) && scan->ReadFirstPoint(x, y, z, intensity, r, g, b, a);
    for (; more; more = scan->ReadNextPoint(x, y, z, intensity, r, g, b, a))
        top = z > top ? z : top;
    std::printf("%lld points, the highest at %.3f m\n", (long long)scan->GetPointCount(), top);
    BriskoCodec::Destroy(scan);
}

#include <brisko_codec/writers.h>

#include <algorithm>
#include <tuple>
#include <utility>

const float BaseWriterCodec::i_range = 2200.0F;
const float BaseWriterGridCodec::i_range = 2200.0F;

BaseWriterCodec::~BaseWriterCodec() = default;

BaseWriterGridCodec::BaseWriterGridCodec()
    : m_matrix{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1} {
}

BaseWriterGridCodec::~BaseWriterGridCodec() = default;

namespace {

/// Asks this library's writer of an interface; answers with nothing for a host's own.
template <class... Writers, class Interface, class Ask>
auto askWriter(const Interface& writer, const Ask& ask) {
    decltype(ask(std::declval<const std::tuple_element_t<0, std::tuple<Writers...>>&>())) answer{};
    const auto askOne = [&](const auto* own) {
        if (own) answer = ask(*own);
    };
    (askOne(dynamic_cast<const Writers*>(&writer)), ...);
    return answer;
}

const auto dropped = [](const auto& writer) { return writer.GetDroppedPoints(); };
const auto failed = [](const auto& writer) { return writer.HasWriteError(); };

}  // namespace

brisko::DroppedPoints brisko::getDroppedPoints(const BaseWriterCodec& writer) {
    return askWriter<CL3WriterCodec>(writer, dropped);
}
brisko::DroppedPoints brisko::getDroppedPoints(const BaseWriterGridCodec& writer) {
    return askWriter<CL3IJWriterGridCodec, CLRWriterGridCodec>(writer, dropped);
}
bool brisko::hasWriteError(const BaseWriterCodec& writer) {
    return askWriter<CL3WriterCodec>(writer, failed);
}
bool brisko::hasWriteError(const BaseWriterGridCodec& writer) {
    return askWriter<CL3IJWriterGridCodec, CLRWriterGridCodec>(writer, failed);
}

void BaseWriterGridCodec::SetMatrixTransform(double* matrix) {
    if (matrix) std::copy_n(matrix, 16, m_matrix);
}

#include <brisko_codec/writers.h>

#include <algorithm>

const float BaseWriterCodec::i_range = 2200.0F;
const float BaseWriterGridCodec::i_range = 2200.0F;

BaseWriterCodec::~BaseWriterCodec() = default;

BaseWriterGridCodec::BaseWriterGridCodec()
    : m_matrix{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1} {
}

BaseWriterGridCodec::~BaseWriterGridCodec() = default;

void BaseWriterGridCodec::SetMatrixTransform(double* matrix) {
    if (matrix) std::copy_n(matrix, 16, m_matrix);
}

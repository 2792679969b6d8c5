#pragma once

#include <brisko_codec/export.h>

#include <cstdint>
#include <memory>

/// Something that moves points in place.
class BRISKO_CODEC_EXPORT Transformation {
public:
    virtual ~Transformation();

    Transformation() = default;
    Transformation(const Transformation&) = default;
    Transformation& operator=(const Transformation&) = default;

    virtual void transform(double& x, double& y, double& z, float& intensity, std::uint8_t& red,
                           std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha) = 0;
    virtual bool IsSpecial();
};

struct CloudTransformationMatrix;

/// A host's own rigid or affine transform for the points it reads. The readers do not use it: they
/// apply the scan's alignment themselves. Starts as the identity; copies are deep.
class BRISKO_CODEC_EXPORT CloudTransformation : public Transformation {
public:
    CloudTransformation();
    CloudTransformation(const CloudTransformation& other);
    CloudTransformation& operator=(const CloudTransformation& other);
    ~CloudTransformation() override;

    /// Moves x, y, z. The fourth row of the matrix is ignored: there is no division by w.
    /// Intensity and colour stay. The arguments may be the same variable.
    void transform(double& x, double& y, double& z, float& intensity, std::uint8_t& red,
                   std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha) override;

    /// Takes the matrix row by row: m[3], m[7] and m[11] are the translation.
    void SetTransformationMatrix(double (&m)[16]);
    /// Takes the matrix column by column: m[12], m[13] and m[14] are the translation.
    void SetTransposedMatrix(double (&m)[16]);

private:
    std::shared_ptr<CloudTransformationMatrix> m_matrix;
};

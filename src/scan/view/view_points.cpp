#include "scan/view/view_points.h"

#include <algorithm>
#include <cmath>

namespace brisko::scan {

ViewValues::ViewValues(const CellPoint& p)
    : intensity(static_cast<std::uint16_t>(std::lround(std::clamp(p.intensity, 0.0f, 65535.0f)))),
      colour{p.red, p.green, p.blue} {
}

void ViewValuePlanes::add(const ViewValues& values) {
    m_intensities.add(zigzag(values.intensity - m_last.intensity));
    int difference[3];
    for (int c = 0; c < 3; ++c) {
        difference[c] = values.colour[c] - m_last.colour[c];
        m_hasColour = m_hasColour || values.colour[c] != 0;
    }
    // Where brightness changes, it changes in all three. The differences count modulo 256.
    m_red.add(static_cast<std::uint32_t>(difference[0]));
    m_green.add(static_cast<std::uint32_t>(difference[1] - difference[0]));
    m_blue.add(static_cast<std::uint32_t>(difference[2] - difference[1]));
    m_last = values;
}

void ViewValuePlanes::write(PackedText& text) const {
    m_intensities.write(text);
    if (!m_hasColour) return;
    for (const BytePlanes* plane : {&m_red, &m_green, &m_blue})
        plane->write(text);
}

}  // namespace brisko::scan

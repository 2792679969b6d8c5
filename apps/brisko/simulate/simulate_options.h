#pragma once

#include "simulator/scan_plan.h"

#include <CLI/CLI.hpp>

#include <cstdint>
#include <string>
#include <vector>

namespace brisko::tool {

/// Of what --json prints.
inline constexpr const char* kSimulateSchema = "brisko.simulate/1";

/// The command line of `brisko simulate`, as it was typed.
struct SimulateOptions {
    std::string folder;
    std::string name = "scan";
    std::string scene = "courtyard";
    std::string model = "RVX1000";
    std::string format = "clr";
    std::string azimuth = "360:0";
    std::string zenith = "20:150";
    std::int64_t columns = 2000;
    std::int64_t rows = 800;
    std::int64_t pointFormat = 1;
    std::int64_t blocks = 1;
    std::vector<std::int64_t> flags;
    std::int64_t series = 0;
    std::uint64_t seed = 1;
    double noise = 1.5;  // millimetres
    bool alignment = false;
    bool colour = false;
    bool overwrite = false;
    simulator::PhotoKind photos = simulator::PhotoKind::Classic;
    std::uint32_t photoDivisor = 2;
    bool json = false;

    void addTo(CLI::App& command);
    /// Throws ScanError(Request), naming the option, when they make no sense together.
    simulator::ScanPlan plan(const CLI::App& command) const;
};

/// Reads "START:STOP", degrees. Throws ScanError(Request).
struct AngleSpan {
    float start = 0, stop = 0;
};
AngleSpan parseAngles(const std::string& option, const std::string& text, double lowest,
                      double highest);

}  // namespace brisko::tool

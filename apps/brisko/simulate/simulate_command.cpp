#include "commands.h"
#include "common/json.h"
#include "simulate/simulate_options.h"
#include "simulator/simulation.h"

#include <iostream>
#include <memory>

namespace brisko::tool {

namespace {

using Json = nlohmann::ordered_json;

Json toJson(const simulator::ScanPlan& plan, const simulator::Simulation& simulation) {
    Json files = Json::array();
    for (const simulator::SimulatedFile& file : simulation.files) {
        files.push_back({{"path", file.path},
                         {"bytes", file.content.bytes},
                         {"returns", file.content.returns}});
    }
    Json summary = {
        {"schema", kSimulateSchema}, {"scene", plan.scene},       {"columns", plan.grid.columns},
        {"rows", plan.grid.rows},    {"blocks", plan.blocks},     {"files", files},
        {"pose", simulation.pose},   {"aligned", plan.alignment}, {"seconds", simulation.seconds},
    };
    if (plan.photos) {
        summary["photos"] = {
            {"kind", simulator::nameOf(*plan.photos)}, {"folder", plan.scanFolder()},
            {"count", simulation.photos.count},        {"width", simulation.photos.columns},
            {"height", simulation.photos.rows},        {"bytes", simulation.photos.bytes}};
    }
    return summary;
}

void print(const simulator::ScanPlan& plan, const simulator::Simulation& simulation) {
    for (const simulator::SimulatedFile& file : simulation.files) {
        std::cout << file.path << ": " << plan.grid.columns << " columns x " << plan.grid.rows
                  << " rows, " << file.content.returns << " returns";
        if (plan.blocks > 1) std::cout << " in " << plan.blocks << " blocks";
        std::cout << ", " << file.content.bytes << " bytes\n";
    }
    if (!plan.photos) return;
    const simulator::SimulatedPhotos& photos = simulation.photos;
    std::cout << plan.scanFolder() << ": " << photos.count << " photos ("
              << simulator::nameOf(*plan.photos) << "), " << photos.columns << " x " << photos.rows
              << " pixels, " << photos.bytes << " bytes\n";
}

}  // namespace

Command addSimulate(CLI::App& tool, const CommonOptions& common) {
    CLI::App* command = tool.add_subcommand(
        "simulate", "Scan a made-up scene, so that there is something to work on");
    const auto options = std::make_shared<SimulateOptions>();
    options->addTo(*command);
    const auto run = [command, options, &common] {
        const simulator::ScanPlan plan = options->plan(*command);
        ProgressDisplay display(common.progress);
        const simulator::Simulation simulation = simulator::simulate(plan, display.function());
        if (options->json) {
            printDocument(toJson(plan, simulation));
        } else {
            print(plan, simulation);
        }
        return ExitCode::Done;
    };
    return {command, run};
}

}  // namespace brisko::tool

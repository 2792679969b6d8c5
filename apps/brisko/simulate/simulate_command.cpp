#include "commands.h"
#include "simulate/simulate_options.h"
#include "simulate/simulation.h"

#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>

namespace brisko::tool {

namespace {

nlohmann::ordered_json toJson(const ScanPlan& plan, const Simulation& simulation) {
    nlohmann::ordered_json files = nlohmann::ordered_json::array();
    for (const SimulatedFile& file : simulation.files) {
        files.push_back({{"path", file.path},
                         {"bytes", file.content.bytes},
                         {"returns", file.content.returns}});
    }
    nlohmann::ordered_json summary = {
        {"schema", "brisko.simulate/1"}, {"scene", plan.scene},
        {"columns", plan.grid.columns},  {"rows", plan.grid.rows},
        {"blocks", plan.blocks},         {"files", files},
        {"pose", simulation.pose},       {"aligned", plan.alignment},
        {"seconds", simulation.seconds},
    };
    return summary;
}

void print(const ScanPlan& plan, const Simulation& simulation) {
    for (const SimulatedFile& file : simulation.files) {
        std::cout << file.path << ": " << plan.grid.columns << " columns x " << plan.grid.rows
                  << " rows, " << file.content.returns << " returns";
        if (plan.blocks > 1) std::cout << " in " << plan.blocks << " blocks";
        std::cout << ", " << file.content.bytes << " bytes\n";
    }
}

}  // namespace

Command addSimulate(CLI::App& tool, const CommonOptions& common) {
    CLI::App* command = tool.add_subcommand(
        "simulate", "Scan a made-up scene, so that there is something to work on");
    const auto options = std::make_shared<SimulateOptions>();
    options->addTo(*command);
    const auto run = [command, options, &common] {
        const ScanPlan plan = options->plan(*command);
        const Simulation simulation = simulate(plan, common.progress);
        if (options->json) {
            std::cout << toJson(plan, simulation).dump(2) << '\n';
        } else {
            print(plan, simulation);
        }
        return ExitCode::Done;
    };
    return {command, run};
}

}  // namespace brisko::tool

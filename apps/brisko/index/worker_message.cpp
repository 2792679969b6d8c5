#include "index/worker_message.h"

#include "common/json_text.h"

namespace brisko::tool {

using Json = nlohmann::ordered_json;

std::string encodeMessage(const WorkerMessage& message) {
    Json json = {{"share", message.share}, {"stage", message.stage}};
    if (message.outcome) {
        const IndexOutcome& outcome = *message.outcome;
        json["outcome"] = {{"state", static_cast<int>(outcome.state)},
                           {"kind", static_cast<int>(outcome.kind)},
                           {"text", outcome.text},
                           {"points", outcome.points},
                           {"columns", outcome.columns},
                           {"rows", outcome.rows},
                           {"bytes", outcome.bytes}};
    }
    return jsonText(json, -1) + "\n";
}

std::optional<WorkerMessage> decodeMessage(const std::string& line) {
    try {
        const Json json = Json::parse(line);
        WorkerMessage message{json.at("share"), json.at("stage"), {}};
        if (!json.contains("outcome")) return message;
        const Json& from = json["outcome"];
        IndexOutcome& outcome = message.outcome.emplace();
        outcome.state = static_cast<IndexOutcome::State>(from.at("state").get<int>());
        outcome.kind = static_cast<ErrorKind>(from.at("kind").get<int>());
        outcome.text = from.at("text");
        outcome.points = from.at("points");
        outcome.columns = from.at("columns");
        outcome.rows = from.at("rows");
        outcome.bytes = from.at("bytes");
        return message;
    } catch (const Json::exception&) {
        return {};
    }
}

}  // namespace brisko::tool

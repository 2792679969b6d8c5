#include "scan/formats/scan_input.h"
#include "scan/integrity/scan_check.h"

#include <brisko_scan/scan_error.h>

namespace brisko::scan {

void checkByReading(ScanCheck& check, const ProgressFunction& function) {
    try {
        const std::unique_ptr<ScanInput> input = openScan(check.path);
        TaskProgress progress(function, "check", input->steps(), input->stepUnit());
        std::vector<CellPoint> points;
        do {
            input->read(points);
            check.points += points.size();
            progress.advanceTo(input->stepsDone());
        } while (!points.empty());
        check.records = input->info().records > 0 ? input->info().records : check.points;
        if (!input->remark().empty()) check.notes.push_back(input->remark());
    } catch (const ScanError& error) {
        if (error.kind() == ErrorKind::Cancelled) throw;
        check.findings.add({"structure", check.path, {}, error.place().offset, error.reason()});
    }
}

}  // namespace brisko::scan

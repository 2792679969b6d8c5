#include "vexo_progress/pcp_progress.h"

#include "support/printed_by.h"
#include "vexo_progress/progress_recorder.h"

#include <gtest/gtest.h>

namespace brisko::vexo {
namespace {

using namespace test;

TEST(PcpProgress, EveryNewProcessNumberStartsAProgress) {
    RecordedTracker host;
    const std::string told = printedBy([&] {
        PcpProgress bridge(&host.tracker, "Pcp Indexing1");
        bridge.SetPos(0);
        bridge.SetPos(7);  // no process yet: kept, not told
        EXPECT_EQ(bridge.GetPos(), 7);
        bridge.SetProcNo(0);  // the number it starts with
        EXPECT_EQ(host.events, Events{});
        bridge.SetProcNo(1);
        bridge.SetPos(30);
        bridge.SetPos(30);
        bridge.SetProcNo(1);  // the same process: back to 0, which is not told
        EXPECT_EQ(bridge.GetPos(), 0);
        bridge.SetPos(31);
        bridge.SetProcNo(0xFFFE);
        bridge.SetPos(100);
    });
    EXPECT_EQ(told, "PcpLib SetProcNo =1\nPcpLib SetProcNo =-2\n");
    EXPECT_EQ(host.events,
              (Events{"start Pcp Indexing1", "Pcp Indexing1 30 pausable cancellable",
                      "Pcp Indexing1 31 pausable cancellable", "finish", "start Pcp Indexing1",
                      "Pcp Indexing1 100 pausable cancellable", "finish"}));
}

TEST(PcpProgress, RefusesPositionsOutsideItsHundredSteps) {
    RecordedTracker host;
    PcpProgress bridge(&host.tracker, "work");
    printedBy([&] { bridge.SetProcNo(1); });
    for (const int position : {101, 32767, 32768, 0xFFFF}) {
        EXPECT_THROW(bridge.SetPos(static_cast<std::uint16_t>(position)), std::invalid_argument);
        EXPECT_EQ(bridge.GetPos(), 0);
    }
}

TEST(PcpProgress, WithoutATrackerTakesEverythingSilently) {
    PcpProgress bridge(nullptr, "work");
    EXPECT_EQ(printedBy([&] {
                  bridge.SetProcNo(3);
                  bridge.SetPos(0xFFFF);
                  bridge.Poll();
              }),
              "");
    EXPECT_EQ(bridge.GetProcNo(), 3);
    EXPECT_EQ(bridge.GetPos(), 0xFFFF);
}

TEST(PcpProgress, FollowsCancellationsAndMonitorsThatRefuse) {
    RecordedTracker host;
    printedBy([&] {
        PcpProgress bridge(&host.tracker, "work");
        host.tracker.requestCancel();
        EXPECT_NO_THROW(bridge.Poll());  // no process runs yet
        bridge.SetProcNo(1);
        EXPECT_THROW(bridge.Poll(), CancelProgressRequest);
        host.duringStart = [] { throw 1; };
        EXPECT_THROW(bridge.SetProcNo(2), int);
        EXPECT_EQ(bridge.GetProcNo(), 1);
        bridge.SetPos(5);  // no progress is left to tell it to
    });
    EXPECT_EQ(host.events, (Events{"start work", "finish", "start work", "finish"}));
}

}  // namespace
}  // namespace brisko::vexo

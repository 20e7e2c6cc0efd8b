// Two real processes on one private session bus exchange (service, message) pairs both ways.
#include <gtest/gtest.h>

#include <QProcess>
#include <string>
#include <vector>

#include "mapperlink/notify.h"
#include "unit/mapperlink_support.h"

using namespace mapperlinktest;

namespace {

std::vector<std::pair<std::string, std::string>> fromPeer; // pairs received from the other process

void recordPair(char *service, char *message, int32_t)
{
    fromPeer.emplace_back(service, message);
}

bool heard(const std::string &message)
{
    for (const auto &pair : fromPeer)
        if (pair.second == message)
            return true;
    return false;
}
} // namespace

TEST(MapperTwoProcesses, PairsTravelBothWaysBetweenProcesses)
{
    ASSERT_TRUE(usePrivateSessionBus());
    fromPeer.clear();
    ASSERT_EQ(NOTinit(1), 0);
    NOTobserver *observer = nullptr;
    ASSERT_EQ(NOTarmObserver("toeditor", recordPair, 0, &observer), 0);
    syncWithBus();

    QProcess peer;
    peer.start(QStringLiteral(VQX_NOTIFY_PEER), {"topeer", "toeditor", "3"});
    ASSERT_TRUE(peer.waitForStarted(10000));
    ASSERT_TRUE(waitFor([] { return heard("READY"); }, 10000));

    ASSERT_EQ(NOTpost("topeer", "DWN Play"), 0);
    ASSERT_EQ(NOTpost("elsewhere", "not for the peer"), 0);
    ASSERT_EQ(NOTpost("topeer", "UPP"), 0);
    ASSERT_EQ(NOTpost("topeer", "RLD"), 0);
    ASSERT_TRUE(waitFor([] { return heard("ECHO RLD"); }, 10000));
    ASSERT_TRUE(peer.state() == QProcess::NotRunning || peer.waitForFinished(10000));
    EXPECT_EQ(peer.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(peer.exitCode(), 0);

    // The peer got exactly its three messages, in order, with its own context word.
    EXPECT_EQ(peer.readAllStandardOutput().toStdString(), "got topeer DWN Play 42\ngot topeer UPP 42\n"
                                                          "got topeer RLD 42\n");
    // This side got the peer's answers and never its "noise".
    std::vector<std::pair<std::string, std::string>> expected = {
        {"toeditor", "READY"}, {"toeditor", "ECHO DWN Play"}, {"toeditor", "ECHO UPP"}, {"toeditor", "ECHO RLD"}};
    EXPECT_EQ(fromPeer, expected);
}

// Starting as the user service: the choice between running here and handing over to the unit,
// reading the cgroup, and the systemctl calls made (through a stand-in systemctl on PATH).
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <string>

#include "mapper/service.h"
#include "support/test_support.h"

namespace {

// Facts of a Mapper started with no options, outside any unit, in a systemd session with the unit
// installed: the case that hands over. Each test changes one thing.
SVCfacts handOverCase()
{
    SVCfacts f;
    f.managerRunning = true;
    f.unitInstalled = true;
    return f;
}

SVCchoice decide(const SVCfacts &f)
{
    std::string why;
    SVCchoice c = SVCdecide(f, &why);
    EXPECT_FALSE(why.empty());
    return c;
}

TEST(ServiceDecision, HandsOverWithoutOptionsWhenTheManagerRunsAndTheUnitIsInstalled)
{
    EXPECT_EQ(decide(handOverCase()), SVC_HAND_OVER);
}

TEST(ServiceDecision, RunsHereWhenStartedWithAnyOption)
{
    SVCfacts f = handOverCase();
    f.withArguments = true;
    EXPECT_EQ(decide(f), SVC_RUN);
}

TEST(ServiceDecision, RunsHereWithoutAUserManager)
{
    SVCfacts f = handOverCase();
    f.managerRunning = false;
    EXPECT_EQ(decide(f), SVC_RUN);
}

TEST(ServiceDecision, RunsHereOnASessionBusOtherThanTheUserBus)
{
    SVCfacts f = handOverCase();
    f.otherBus = true;
    EXPECT_EQ(decide(f), SVC_RUN);
}

TEST(ServiceDecision, RunsHereWhenTheUnitIsNotInstalled)
{
    SVCfacts f = handOverCase();
    f.unitInstalled = false;
    EXPECT_EQ(decide(f), SVC_RUN);
}

TEST(ServiceDecision, RunsHereInsideItsOwnUnit)
{
    SVCfacts f = handOverCase();
    f.invocationId = true;
    f.cgroupKnown = true;
    f.inOwnUnit = true;
    EXPECT_EQ(decide(f), SVC_RUN);
}

TEST(ServiceDecision, RunsHereInsideAUnitWhenTheCgroupCannotBeRead)
{
    SVCfacts f = handOverCase();
    f.invocationId = true;
    f.cgroupKnown = false;
    EXPECT_EQ(decide(f), SVC_RUN);
}

TEST(ServiceDecision, HandsOverFromAnotherUnitSuchAsAGeneratedAutostartOne)
{
    SVCfacts f = handOverCase();
    f.invocationId = true;
    f.cgroupKnown = true;
    f.inOwnUnit = false;
    EXPECT_EQ(decide(f), SVC_HAND_OVER);
}

TEST(ServiceCgroup, FindsTheUnitOnTheUnifiedHierarchy)
{
    EXPECT_TRUE(SVCinUnit(
        "0::/user.slice/user-1000.slice/user@1000.service/app.slice/vqx-mapper.service\n", "vqx-mapper.service"));
}

TEST(ServiceCgroup, FindsTheUnitInSystemdsNamedHierarchy)
{
    std::string hybrid = "12:cpu,cpuacct:/user.slice\n"
                         "1:name=systemd:/user.slice/user-1000.slice/user@1000.service/vqx-mapper.service\n"
                         "0::/user.slice/user-1000.slice/user@1000.service\n";
    EXPECT_TRUE(SVCinUnit(hybrid, "vqx-mapper.service"));
}

TEST(ServiceCgroup, RejectsOtherUnitsAndNamesThatOnlyEndTheSame)
{
    EXPECT_FALSE(
        SVCinUnit("0::/user.slice/user-1000.slice/user@1000.service/app.slice/app-vqx\\x2dmapper@autostart.service\n",
            "vqx-mapper.service"));
    EXPECT_FALSE(SVCinUnit(
        "0::/user.slice/user-1000.slice/user@1000.service/app.slice/my-vqx-mapper.service\n", "vqx-mapper.service"));
    EXPECT_FALSE(SVCinUnit("0::/\n", "vqx-mapper.service"));
    EXPECT_FALSE(SVCinUnit("", "vqx-mapper.service"));
    EXPECT_FALSE(SVCinUnit("garbage without colons\n5:cpu:/x/vqx-mapper.service\n", "vqx-mapper.service"));
}

TEST(ServiceBus, TheUserBusOrNoAddressIsNotAnotherBus)
{
    EXPECT_FALSE(SVCotherBus(nullptr, "/run/user/1000"));
    EXPECT_FALSE(SVCotherBus("", "/run/user/1000"));
    EXPECT_FALSE(SVCotherBus("unix:path=/run/user/1000/bus", "/run/user/1000"));
    EXPECT_FALSE(SVCotherBus("unix:path=/run/user/1000/bus,guid=0123456789abcdef", "/run/user/1000"));
    EXPECT_FALSE(SVCotherBus("unix:path=/run/user/1000/bus;unix:abstract=/tmp/x", "/run/user/1000"));
}

TEST(ServiceBus, PrivateAndPerSessionBusesAreOtherBuses)
{
    EXPECT_TRUE(SVCotherBus("unix:path=/tmp/dbus-AbCdEf,guid=0123", "/run/user/1000"));
    EXPECT_TRUE(SVCotherBus("unix:abstract=/tmp/dbus-AbCdEf,guid=0123", "/run/user/1000"));
    EXPECT_TRUE(SVCotherBus("unix:path=/run/user/1000/bus2", "/run/user/1000"));
    EXPECT_TRUE(SVCotherBus("unix:path=/run/user/1000/bus", "/run/user/1001"));
    EXPECT_TRUE(SVCotherBus("unix:path=/run/user/1000/bus", nullptr));
    EXPECT_TRUE(SVCotherBus("tcp:host=localhost,port=1234", "/run/user/1000"));
}

// A stand-in systemctl first on PATH that logs its arguments and answers with fixed statuses, and
// a runtime folder with or without the manager's socket; the environment is put back afterwards.
class FakeSystemctl : public ::testing::Test {
protected:
    TestFolder folder;
    std::string savedPath, savedRuntime, savedDisplay, savedWayland, savedBus;
    bool hadDisplay = false, hadWayland = false, hadRuntime = false, hadBus = false;

    void SetUp() override
    {
        savedPath = getenv("PATH") ? getenv("PATH") : "/usr/bin:/bin";
        hadRuntime = getenv("XDG_RUNTIME_DIR") != nullptr;
        savedRuntime = hadRuntime ? getenv("XDG_RUNTIME_DIR") : "";
        hadDisplay = getenv("DISPLAY") != nullptr;
        savedDisplay = hadDisplay ? getenv("DISPLAY") : "";
        hadWayland = getenv("WAYLAND_DISPLAY") != nullptr;
        savedWayland = hadWayland ? getenv("WAYLAND_DISPLAY") : "";
        hadBus = getenv("DBUS_SESSION_BUS_ADDRESS") != nullptr;
        savedBus = hadBus ? getenv("DBUS_SESSION_BUS_ADDRESS") : "";
        mkdir(folder.file("bin").c_str(), 0755);
        mkdir(folder.file("run").c_str(), 0700);
        setenv("PATH", (folder.file("bin") + ":" + savedPath).c_str(), 1);
        setenv("XDG_RUNTIME_DIR", folder.file("run").c_str(), 1);
        // The user bus of this runtime folder, as in a desktop session under systemd.
        setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + folder.file("run/bus")).c_str(), 1);
        unsetenv("INVOCATION_ID");
    }

    void TearDown() override
    {
        setenv("PATH", savedPath.c_str(), 1);
        restore("XDG_RUNTIME_DIR", hadRuntime, savedRuntime);
        restore("DISPLAY", hadDisplay, savedDisplay);
        restore("WAYLAND_DISPLAY", hadWayland, savedWayland);
        restore("DBUS_SESSION_BUS_ADDRESS", hadBus, savedBus);
    }

    static void restore(const char *name, bool had, const std::string &value)
    {
        if (had)
            setenv(name, value.c_str(), 1);
        else
            unsetenv(name);
    }

    // systemctl answers "cat" with catStatus and "start" with startStatus, logging every call.
    void writeSystemctl(int catStatus, int startStatus)
    {
        std::string script = "#!/bin/sh\n";
        script += "echo \"$*\" >> '" + folder.file("calls") + "'\n";
        script += "case \"$2\" in\n";
        script += "  cat) exit " + std::to_string(catStatus) + " ;;\n";
        script += "  start) exit " + std::to_string(startStatus) + " ;;\n";
        script += "esac\nexit 0\n";
        writeFile(folder.file("bin/systemctl"), script);
        chmod(folder.file("bin/systemctl").c_str(), 0755);
    }

    void makeManagerSocket() { writeFile(folder.file("run/systemd/private"), ""); }

    std::string calls() { return fileExists(folder.file("calls")) ? readFile(folder.file("calls")) : ""; }
};

TEST_F(FakeSystemctl, ProbeAsksForTheUnitWhenTheManagerRuns)
{
    mkdir(folder.file("run/systemd").c_str(), 0700);
    makeManagerSocket();
    writeSystemctl(0, 0);
    SVCfacts f = SVCprobe(1);
    EXPECT_TRUE(f.managerRunning);
    EXPECT_TRUE(f.unitInstalled);
    EXPECT_FALSE(f.withArguments);
    EXPECT_EQ(calls(), "--user cat vqx-mapper.service\n");
}

TEST_F(FakeSystemctl, ProbeFindsTheUnitMissingWhenSystemctlCannotShowIt)
{
    mkdir(folder.file("run/systemd").c_str(), 0700);
    makeManagerSocket();
    writeSystemctl(1, 0);
    SVCfacts f = SVCprobe(1);
    EXPECT_TRUE(f.managerRunning);
    EXPECT_FALSE(f.unitInstalled);
    std::string why;
    EXPECT_EQ(SVCdecide(f, &why), SVC_RUN);
}

TEST_F(FakeSystemctl, ProbeDoesNotCallSystemctlWithoutAManagerOrWithOptions)
{
    writeSystemctl(0, 0);
    SVCfacts f = SVCprobe(1);
    EXPECT_FALSE(f.managerRunning);
    EXPECT_FALSE(f.unitInstalled);
    mkdir(folder.file("run/systemd").c_str(), 0700);
    makeManagerSocket();
    f = SVCprobe(2);
    EXPECT_TRUE(f.withArguments);
    EXPECT_EQ(calls(), "");
}

TEST_F(FakeSystemctl, ProbeDoesNotCallSystemctlOnAPrivateBus)
{
    mkdir(folder.file("run/systemd").c_str(), 0700);
    makeManagerSocket();
    writeSystemctl(0, 0);
    setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + folder.file("private-bus") + ",guid=00").c_str(), 1);
    SVCfacts f = SVCprobe(1);
    EXPECT_TRUE(f.otherBus);
    EXPECT_EQ(SVCstartAsService(1), -1);
    EXPECT_EQ(calls(), "");
}

TEST_F(FakeSystemctl, HandOverImportsTheDisplayAndStartsTheUnitGivingBackItsStatus)
{
    writeSystemctl(0, 3);
    setenv("DISPLAY", ":7", 1);
    unsetenv("WAYLAND_DISPLAY");
    EXPECT_EQ(SVChandOver(), 3);
    std::string log = calls();
    EXPECT_NE(log.find("--user import-environment DISPLAY"), std::string::npos) << log;
    EXPECT_EQ(log.find("WAYLAND_DISPLAY"), std::string::npos) << log;
    EXPECT_NE(log.find("--user start vqx-mapper.service\n"), std::string::npos) << log;
    EXPECT_LT(log.find("import-environment"), log.find("start"));
}

TEST_F(FakeSystemctl, StartAsServiceRunsHereWhenSystemctlIsMissing)
{
    mkdir(folder.file("run/systemd").c_str(), 0700);
    makeManagerSocket();
    setenv("PATH", folder.file("bin").c_str(), 1);
    EXPECT_EQ(SVCstartAsService(1), -1);
}

TEST_F(FakeSystemctl, StartAsServiceHandsOverAndReturnsTheStatus)
{
    mkdir(folder.file("run/systemd").c_str(), 0700);
    makeManagerSocket();
    writeSystemctl(0, 0);
    EXPECT_EQ(SVCstartAsService(1), 0);
    EXPECT_NE(calls().find("--user start vqx-mapper.service"), std::string::npos);
}

} // namespace

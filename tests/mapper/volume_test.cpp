// The system volume against a real PulseAudio with a null sink, started for each test in a private
// runtime folder: levels and mute read back with pactl, fade steps and delays seen by a subscriber.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pulse/pulseaudio.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "mapper/volume.h"

namespace {

double nowSeconds()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

bool waitUntil(const std::function<bool()> &done, double seconds)
{
    double end = nowSeconds() + seconds;
    while (!done()) {
        if (nowSeconds() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

std::string run(const std::string &command)
{
    std::string out;
    if (FILE *p = popen((command + " 2>/dev/null").c_str(), "r")) {
        char buffer[512];
        while (fgets(buffer, sizeof buffer, p))
            out += buffer;
        pclose(p);
    }
    return out;
}

// The raw value of every channel in pactl's "front-left: 32768 /  50% / ..." line.
std::vector<uint32_t> pactlVolumes()
{
    std::string text = run("pactl get-sink-volume @DEFAULT_SINK@");
    std::vector<uint32_t> values;
    for (size_t at = text.find(": "); at != std::string::npos; at = text.find(": ", at + 2)) {
        char *end = nullptr;
        unsigned long v = strtoul(text.c_str() + at + 2, &end, 10);
        if (end != text.c_str() + at + 2 && strncmp(end, " /", 2) == 0)
            values.push_back((uint32_t)v);
    }
    return values;
}

uint32_t pactlLevel()
{
    std::vector<uint32_t> v = pactlVolumes();
    return v.empty() ? 0xFFFFFFFFu : *std::max_element(v.begin(), v.end());
}

bool pactlMuted()
{
    return run("pactl get-sink-mute @DEFAULT_SINK@").find("Mute: yes") != std::string::npos;
}

bool near(uint32_t a, uint32_t b)
{
    return a + 1 >= b && b + 1 >= a;
}

// v/255 of full, as the volume actions are meant to set it.
uint32_t share(int v)
{
    return (uint32_t)(v * 65536.0 / 255.0 + 0.5);
}

MTABaction volumeAction(int subtype, int value, int unMute = 0, int fadeType = 0)
{
    MTABaction a;
    a.type = 5;
    a.volSubtype = subtype;
    a.volValue = value;
    a.unMute = unMute;
    a.fadeType = fadeType;
    return a;
}

// A PulseAudio of the test's own, its null sink the default sink.
struct Server {
    std::string dir;
    pid_t pid = 0;

    bool start(std::string *why)
    {
        char path[] = "/tmp/vqx-volume.XXXXXX";
        if (dir.empty() && mkdtemp(path))
            dir = path;
        std::string runtime = "XDG_RUNTIME_DIR=" + dir;
        char *envp[] = { &runtime[0], nullptr };
        const char *argv[] = { "pulseaudio", "-n", "--daemonize=no", "--exit-idle-time=-1",
            "--load=module-null-sink sink_name=test", "--load=module-native-protocol-unix", nullptr };
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        std::string log = dir + "/server.log";
        posix_spawn_file_actions_addopen(&actions, 1, log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
        posix_spawn_file_actions_adddup2(&actions, 1, 2);
        int err = posix_spawnp(&pid, "pulseaudio", &actions, nullptr, (char **)argv, envp);
        posix_spawn_file_actions_destroy(&actions);
        if (err != 0) {
            pid = 0;
            *why = std::string("pulseaudio is not installed (") + strerror(err) + ")";
            return false;
        }
        setenv("PULSE_SERVER", ("unix:" + dir + "/pulse/native").c_str(), 1);
        if (!waitUntil([] { return run("pactl info").find("Default Sink: test") != std::string::npos; }, 10)) {
            *why = "pulseaudio did not start (or pactl is missing): " + run("tail -3 " + log);
            stop();
            return false;
        }
        return true;
    }

    void stop()
    {
        if (pid > 0) {
            kill(pid, SIGTERM);
            waitpid(pid, nullptr, 0);
        }
        pid = 0;
    }

    ~Server()
    {
        stop();
        unsetenv("PULSE_SERVER");
        if (!dir.empty())
            run("rm -rf " + dir);
    }
};

// A client of the server that records every new state of the default sink with the time it saw it.
struct Monitor {
    struct Sample {
        double time;
        uint32_t level;
        bool muted;
    };
    pa_threaded_mainloop *loop = nullptr;
    pa_context *context = nullptr;
    std::mutex mutex;
    std::vector<Sample> samples;

    static void info(pa_context *, const pa_sink_info *i, int eol, void *userdata)
    {
        Monitor *m = (Monitor *)userdata;
        if (eol != 0 || !i)
            return;
        std::lock_guard<std::mutex> hold(m->mutex);
        m->samples.push_back({ nowSeconds(), pa_cvolume_max(&i->volume), i->mute != 0 });
    }
    static void event(pa_context *c, pa_subscription_event_type_t, uint32_t, void *userdata)
    {
        pa_operation *o = pa_context_get_sink_info_by_name(c, "@DEFAULT_SINK@", info, userdata);
        if (o)
            pa_operation_unref(o);
    }
    pa_context_state_t state()
    {
        pa_threaded_mainloop_lock(loop);
        pa_context_state_t s = pa_context_get_state(context);
        pa_threaded_mainloop_unlock(loop);
        return s;
    }
    bool running(pa_operation *o)
    {
        pa_threaded_mainloop_lock(loop);
        bool running = pa_operation_get_state(o) == PA_OPERATION_RUNNING;
        pa_threaded_mainloop_unlock(loop);
        return running;
    }
    bool start()
    {
        loop = pa_threaded_mainloop_new();
        pa_threaded_mainloop_start(loop);
        pa_threaded_mainloop_lock(loop);
        context = pa_context_new(pa_threaded_mainloop_get_api(loop), "volume-test-monitor");
        pa_context_connect(context, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr);
        pa_threaded_mainloop_unlock(loop);
        waitUntil([this] { return state() == PA_CONTEXT_READY || !PA_CONTEXT_IS_GOOD(state()); }, 5);
        pa_threaded_mainloop_lock(loop);
        pa_operation *o = nullptr;
        if (pa_context_get_state(context) == PA_CONTEXT_READY) {
            pa_context_set_subscribe_callback(context, event, this);
            o = pa_context_subscribe(context, PA_SUBSCRIPTION_MASK_SINK, nullptr, nullptr);
        }
        pa_threaded_mainloop_unlock(loop);
        // Subscribed only once the server has answered: changes before that would go unseen.
        bool ready = o && waitUntil([&] { return state() != PA_CONTEXT_READY || !running(o); }, 5);
        if (o)
            pa_operation_unref(o);
        return ready && state() == PA_CONTEXT_READY;
    }
    std::vector<Sample> since(double time)
    {
        std::lock_guard<std::mutex> hold(mutex);
        std::vector<Sample> out;
        for (const Sample &s : samples)
            if (s.time >= time)
                out.push_back(s);
        return out;
    }
    ~Monitor()
    {
        if (!loop)
            return;
        pa_threaded_mainloop_lock(loop);
        pa_context_disconnect(context);
        pa_context_unref(context);
        pa_threaded_mainloop_unlock(loop);
        pa_threaded_mainloop_stop(loop);
        pa_threaded_mainloop_free(loop);
    }
};

class VolumeTest : public ::testing::Test {
protected:
    Server server;
    VOLcontrol *volume = nullptr;

    std::string skipReason;

    void TearDown() override { VOLclose(volume); }
    bool statusBecomes(const std::string &start, double seconds = 4)
    {
        return waitUntil([&] { return VOLstatus(volume).rfind(start, 0) == 0; }, seconds);
    }
    // Opens the volume control on the test's server and waits until it is connected.
    bool openConnected()
    {
        volume = VOLopen();
        return statusBecomes("connected to ");
    }
    void pactlSet(const std::string &volumes, bool mute)
    {
        run("pactl set-sink-volume @DEFAULT_SINK@ " + volumes);
        run(std::string("pactl set-sink-mute @DEFAULT_SINK@ ") + (mute ? "1" : "0"));
        // The volume control hears of changes made by others a moment later.
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    bool levelBecomes(uint32_t level, double seconds = 3)
    {
        return waitUntil([level] { return near(pactlLevel(), level); }, seconds);
    }
    bool muteBecomes(bool muted, double seconds = 3)
    {
        return waitUntil([muted] { return pactlMuted() == muted; }, seconds);
    }
};

// Skips the test, saying why, where no sound server can be started here.
#define START_SERVER()                                                                                                 \
    if (!server.start(&skipReason))                                                                                    \
    GTEST_SKIP() << skipReason

TEST_F(VolumeTest, SetGivesItsShareOfFullLevelEvenWhenSentWhileConnecting)
{
    START_SERVER();
    pactlSet("100%", false);
    volume = VOLopen();
    VOLperform(volume, volumeAction(1, 127)); // queued until the sink is known
    ASSERT_TRUE(levelBecomes(share(127))) << pactlLevel();
    EXPECT_NE(run("pactl get-sink-volume @DEFAULT_SINK@").find(" 50% "), std::string::npos);
    VOLperform(volume, volumeAction(1, 0));
    ASSERT_TRUE(levelBecomes(0)) << pactlLevel();
    VOLperform(volume, volumeAction(1, 255));
    ASSERT_TRUE(levelBecomes(PA_VOLUME_NORM)) << pactlLevel();
    VOLperform(volume, volumeAction(1, 51));
    ASSERT_TRUE(levelBecomes(share(51))) << pactlLevel();
}

TEST_F(VolumeTest, ChangeMovesByItsShareAndStopsAtSilenceAndFull)
{
    START_SERVER();
    ASSERT_TRUE(openConnected()) << VOLstatus(volume);
    pactlSet("32768", false);
    ASSERT_TRUE(levelBecomes(32768));
    VOLperform(volume, volumeAction(2, 12));
    ASSERT_TRUE(levelBecomes(32768 + share(12))) << pactlLevel();
    EXPECT_NE(run("pactl get-sink-volume @DEFAULT_SINK@").find(" 55% "), std::string::npos);
    VOLperform(volume, volumeAction(2, -12));
    VOLperform(volume, volumeAction(2, -12)); // two steps at once both count
    ASSERT_TRUE(levelBecomes(32768 - share(12))) << pactlLevel();
    pactlSet("64000", false);
    ASSERT_TRUE(levelBecomes(64000));
    VOLperform(volume, volumeAction(2, 12));
    ASSERT_TRUE(levelBecomes(PA_VOLUME_NORM)) << pactlLevel();
    pactlSet("1500", false);
    ASSERT_TRUE(levelBecomes(1500));
    VOLperform(volume, volumeAction(2, -12));
    ASSERT_TRUE(levelBecomes(0)) << pactlLevel();
    VOLperform(volume, volumeAction(2, 1));
    ASSERT_TRUE(levelBecomes(share(1))) << pactlLevel();
}

TEST_F(VolumeTest, SetAndChangeUnmuteOnlyWhenAsked)
{
    START_SERVER();
    ASSERT_TRUE(openConnected()) << VOLstatus(volume);
    pactlSet("50%", true);
    ASSERT_TRUE(muteBecomes(true));
    VOLperform(volume, volumeAction(1, 100, 0));
    ASSERT_TRUE(levelBecomes(share(100)));
    EXPECT_TRUE(pactlMuted());
    VOLperform(volume, volumeAction(2, 10, 0));
    ASSERT_TRUE(levelBecomes(share(100) + share(10)));
    EXPECT_TRUE(pactlMuted());
    VOLperform(volume, volumeAction(2, 10, 1));
    ASSERT_TRUE(muteBecomes(false));
    EXPECT_TRUE(near(pactlLevel(), share(100) + 2 * share(10))) << pactlLevel();
    pactlSet("50%", true);
    ASSERT_TRUE(muteBecomes(true));
    VOLperform(volume, volumeAction(1, 200, 1));
    ASSERT_TRUE(muteBecomes(false));
    EXPECT_TRUE(near(pactlLevel(), share(200))) << pactlLevel();
}

TEST_F(VolumeTest, MuteTurnsOnOffAndToggles)
{
    START_SERVER();
    ASSERT_TRUE(openConnected()) << VOLstatus(volume);
    pactlSet("40%", false);
    VOLperform(volume, volumeAction(3, 1));
    ASSERT_TRUE(muteBecomes(true));
    VOLperform(volume, volumeAction(3, 0));
    ASSERT_TRUE(muteBecomes(false));
    VOLperform(volume, volumeAction(3, 2));
    ASSERT_TRUE(muteBecomes(true));
    VOLperform(volume, volumeAction(3, 2));
    ASSERT_TRUE(muteBecomes(false));
    run("pactl set-sink-mute @DEFAULT_SINK@ 1"); // changed behind its back: the toggle follows
    ASSERT_TRUE(muteBecomes(true));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    VOLperform(volume, volumeAction(3, 2));
    ASSERT_TRUE(muteBecomes(false));
    EXPECT_TRUE(near(pactlLevel(), 26214)) << pactlLevel(); // the level as it was
}

TEST_F(VolumeTest, ChannelBalanceIsKept)
{
    START_SERVER();
    ASSERT_TRUE(openConnected()) << VOLstatus(volume);
    pactlSet("16384 32768", false);
    ASSERT_TRUE(levelBecomes(32768));
    VOLperform(volume, volumeAction(1, 255));
    ASSERT_TRUE(levelBecomes(PA_VOLUME_NORM));
    std::vector<uint32_t> v = pactlVolumes();
    ASSERT_EQ(v.size(), 2u);
    EXPECT_TRUE(near(v[0], PA_VOLUME_NORM / 2)) << v[0];
    VOLperform(volume, volumeAction(1, 0));
    ASSERT_TRUE(levelBecomes(0));
    VOLperform(volume, volumeAction(2, 51)); // up from silence: the balance comes back
    ASSERT_TRUE(levelBecomes(share(51)));
    v = pactlVolumes();
    EXPECT_TRUE(near(v[0], share(51) / 2)) << v[0];
}

TEST_F(VolumeTest, FadeOutRampsToSilenceThenMutesWithTheLevelRestored)
{
    START_SERVER();
    ASSERT_TRUE(openConnected()) << VOLstatus(volume);
    pactlSet("39321", false); // 60%
    ASSERT_TRUE(levelBecomes(39321));
    Monitor monitor;
    ASSERT_TRUE(monitor.start());
    double t0 = nowSeconds();
    VOLperform(volume, volumeAction(4, 1, 0, 1));
    ASSERT_TRUE(muteBecomes(true, 3));
    double mutedAfter = nowSeconds() - t0;
    EXPECT_GT(mutedAfter, 0.9);
    EXPECT_LT(mutedAfter, 1.6);
    EXPECT_TRUE(levelBecomes(39321, 1)) << pactlLevel(); // the level back, still muted
    EXPECT_TRUE(pactlMuted());
    // The ramp as the server saw it: falling in small steps, at least 20 a second, silent at the end.
    int steps = 0;
    uint32_t last = 39321;
    for (const Monitor::Sample &s : monitor.since(t0)) {
        if (s.muted)
            break;
        EXPECT_LE(s.level, last);
        EXPECT_LT(last - s.level, 39321u / 10) << "a jump in the ramp";
        if (s.level < last)
            steps++;
        last = s.level;
    }
    printf("fade out over 1 s: %d steps seen\n", steps);
    EXPECT_GE(steps, 20);
    EXPECT_LT(last, 39321u / 10); // muted only once (nearly) silent
}

TEST_F(VolumeTest, FadeToggleGoesOutWhenSoundingElseInFromSilenceBackToTheLevel)
{
    START_SERVER();
    ASSERT_TRUE(openConnected()) << VOLstatus(volume);
    pactlSet("45000 30000", false);
    ASSERT_TRUE(levelBecomes(45000));
    VOLperform(volume, volumeAction(4, 1, 0, 2));
    ASSERT_TRUE(waitUntil([] { return pactlLevel() < 40000; }, 1)) << pactlLevel();
    ASSERT_TRUE(muteBecomes(true, 3));
    ASSERT_TRUE(levelBecomes(45000, 1));
    Monitor monitor;
    ASSERT_TRUE(monitor.start());
    double t0 = nowSeconds();
    VOLperform(volume, volumeAction(4, 1, 0, 2));
    ASSERT_TRUE(muteBecomes(false, 1));
    ASSERT_TRUE(waitUntil([] { return near(pactlLevel(), 45000); }, 3));
    double done = nowSeconds() - t0;
    EXPECT_GT(done, 0.9);
    std::vector<uint32_t> v = pactlVolumes();
    ASSERT_EQ(v.size(), 2u);
    EXPECT_TRUE(near(v[1], 30000)) << v[1];
    uint32_t firstSounding = 0xFFFFFFFFu; // near silence when it starts sounding, no burst at the old level
    for (const Monitor::Sample &s : monitor.since(t0))
        if (!s.muted && firstSounding == 0xFFFFFFFFu)
            firstSounding = s.level;
    EXPECT_LT(firstSounding, 45000u / 10);
}

TEST_F(VolumeTest, AnotherActionStopsAFadeWhereItIs)
{
    START_SERVER();
    ASSERT_TRUE(openConnected()) << VOLstatus(volume);
    pactlSet("50000", false);
    ASSERT_TRUE(levelBecomes(50000));
    VOLperform(volume, volumeAction(4, 2, 0, 1));
    ASSERT_TRUE(waitUntil([] { return pactlLevel() < 35000; }, 2)) << pactlLevel();
    VOLperform(volume, volumeAction(3, 0)); // mute off: changes nothing but stops the fade
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    uint32_t stoppedAt = pactlLevel();
    EXPECT_GT(stoppedAt, 0u);
    std::this_thread::sleep_for(std::chrono::milliseconds(2200));
    EXPECT_EQ(pactlLevel(), stoppedAt);
    EXPECT_FALSE(pactlMuted());

    VOLperform(volume, volumeAction(4, 2, 0, 0)); // fade in towards 50000 ...
    ASSERT_TRUE(waitUntil([stoppedAt] { return pactlLevel() > stoppedAt + 2000; }, 2)) << pactlLevel();
    VOLperform(volume, volumeAction(1, 64)); // ... and a SET ends it
    ASSERT_TRUE(levelBecomes(share(64)));
    std::this_thread::sleep_for(std::chrono::milliseconds(2200));
    EXPECT_TRUE(near(pactlLevel(), share(64))) << pactlLevel();
    EXPECT_FALSE(pactlMuted());
}

TEST_F(VolumeTest, StatusNamesTheServer)
{
    START_SERVER();
    ASSERT_TRUE(openConnected()) << VOLstatus(volume);
    std::string info = run("pactl info");
    size_t at = info.find("Server Name: ");
    ASSERT_NE(at, std::string::npos);
    std::string name = info.substr(at + 13, info.find('\n', at) - at - 13);
    ASSERT_TRUE(waitUntil([&] { return VOLstatus(volume).find(name) != std::string::npos; }, 2)) << VOLstatus(volume);
    EXPECT_NE(VOLstatus(volume).find(server.dir), std::string::npos) << VOLstatus(volume);
}

TEST_F(VolumeTest, ReconnectsWhenTheServerComesBack)
{
    START_SERVER();
    ASSERT_TRUE(openConnected()) << VOLstatus(volume);
    server.stop();
    ASSERT_TRUE(statusBecomes("no sound server (")) << VOLstatus(volume);
    VOLperform(volume, volumeAction(1, 10)); // dropped: nobody to do it
    START_SERVER();
    ASSERT_TRUE(statusBecomes("connected to ")) << VOLstatus(volume);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(pactlLevel(), PA_VOLUME_NORM); // the dropped SET did not come late
    VOLperform(volume, volumeAction(1, 127));
    ASSERT_TRUE(levelBecomes(share(127))) << pactlLevel();
}

TEST_F(VolumeTest, PerformReturnsAtOnceWithoutServerAndLogsOnce)
{
    setenv("PULSE_SERVER", "unix:/nonexistent/vqx-volume-test/native", 1);
    volume = VOLopen();
    ASSERT_TRUE(statusBecomes("no sound server (")) << VOLstatus(volume);
    testing::internal::CaptureStderr();
    double slowest = 0;
    for (int i = 0; i < 20; i++) {
        double t = nowSeconds();
        VOLperform(volume, volumeAction(1 + i % 4, 10, 1, 1));
        slowest = std::max(slowest, nowSeconds() - t);
    }
    std::string log = testing::internal::GetCapturedStderr();
    unsetenv("PULSE_SERVER");
    printf("slowest VOLperform without a server: %.3f ms\n", slowest * 1000);
    EXPECT_LT(slowest, 0.005);
    size_t first = log.find("volume: no sound server (");
    ASSERT_NE(first, std::string::npos) << log;
    EXPECT_EQ(log.find("volume: no sound server (", first + 1), std::string::npos) << log;
}

TEST_F(VolumeTest, SetReachesTheServerQuickly)
{
    START_SERVER();
    ASSERT_TRUE(openConnected()) << VOLstatus(volume);
    Monitor monitor;
    ASSERT_TRUE(monitor.start());
    std::vector<double> delays;
    for (int i = 0; i < 20; i++) {
        int value = i % 2 ? 100 : 200;
        double t0 = nowSeconds();
        VOLperform(volume, volumeAction(1, value));
        double seenAt = 0;
        auto seen = [&] {
            for (const Monitor::Sample &s : monitor.since(t0))
                if (near(s.level, share(value))) {
                    seenAt = s.time;
                    return true;
                }
            return false;
        };
        ASSERT_TRUE(waitUntil(seen, 2));
        delays.push_back(seenAt - t0);
    }
    std::sort(delays.begin(), delays.end());
    printf("SET to the level seen by a subscriber: median %.2f ms, max %.2f ms over 20 steps\n",
        (delays[9] + delays[10]) / 2 * 1000, delays.back() * 1000);
}

} // namespace

// The system volume through libpulse: a threaded main loop of its own keeps a copy of the default
// sink's volume and mute state, runs fades on a timer, and reconnects when the server comes back;
// the Mapper's thread only queues requests on it and never waits for a reply.
#include "mapper/volume.h"

#include <pulse/pulseaudio.h>
#include <unistd.h>

#include <cstdint>
#include <deque>

#include "mapper/log.h"

static const pa_usec_t kFadeStepUsec = 1000000 / 25; // 25 steps a second
static const pa_usec_t kRetryUsec = 1000000;
static const size_t kQueueMax = 64;

struct VOLcontrol {
    pa_threaded_mainloop *loop = nullptr;
    pa_mainloop_api *api = nullptr;
    pa_context *context = nullptr;
    pa_time_event *retry = nullptr;
    std::string status = "connecting to the sound server";
    bool connected = false; // the context is ready
    bool failed = false; // no server since the last attempt: actions are dropped
    bool failureLogged = false; // "no sound server" said once for this failure
    bool noSinkLogged = false;
    bool closing = false;
    std::deque<MTABaction> queue; // actions waiting for the first news of the sink

    // The default sink as last known: from the server, or from what we asked of it.
    bool sinkKnown = false;
    int infoInFlight = 0; // sink info requests not answered yet
    int ownPending = 0; // our own volume and mute requests not acknowledged yet
    bool refreshAgain = false; // news of the sink arrived while ours were pending
    uint32_t sinkIndex = PA_INVALID_INDEX;
    pa_cvolume volume;
    pa_cvolume lastSent; // the volume we asked for last
    pa_cvolume shape; // the balance between the channels, from the last level above zero
    bool muted = false;

    pa_time_event *fadeTimer = nullptr;
    bool fadingOut = false;
    pa_volume_t fadeFrom = 0, fadeTo = 0;
    pa_cvolume fadeShape;
    pa_usec_t fadeStart = 0, fadeLength = 0;
    bool haveBeforeFade = false; // the level before the last fade-out, where a fade-in goes
    pa_cvolume beforeFade;
};

static void startConnecting(VOLcontrol *c);
static void runAction(VOLcontrol *c, const MTABaction &a);

static pa_volume_t levelOf(const pa_cvolume &v)
{
    return pa_cvolume_max(&v);
}

// v/255 of full volume, rounded.
static pa_volume_t shareOfFull(int32_t v)
{
    return (pa_volume_t)(((uint64_t)v * PA_VOLUME_NORM + 127) / 255);
}

static std::string percent(pa_volume_t level)
{
    char text[PA_VOLUME_SNPRINT_MAX];
    return pa_volume_snprint(text, sizeof text, level);
}

static void logNoServer(VOLcontrol *c)
{
    if (c->failureLogged)
        return;
    c->failureLogged = true;
    LOGinfo("volume: %s", c->status.c_str());
}

static void stopFade(VOLcontrol *c)
{
    if (!c->fadeTimer)
        return;
    c->api->time_free(c->fadeTimer);
    c->fadeTimer = nullptr;
    LOGtrace("volume: fade stopped at %s", percent(levelOf(c->volume)).c_str());
}

static void forgetSink(VOLcontrol *c)
{
    stopFade(c);
    c->sinkKnown = false;
    c->infoInFlight = 0;
    c->ownPending = 0;
    c->refreshAgain = false;
    c->sinkIndex = PA_INVALID_INDEX;
}

static void dropContext(VOLcontrol *c)
{
    forgetSink(c);
    c->connected = false;
    if (!c->context)
        return;
    pa_context_set_state_callback(c->context, nullptr, nullptr);
    pa_context_set_subscribe_callback(c->context, nullptr, nullptr);
    pa_context_disconnect(c->context);
    pa_context_unref(c->context);
    c->context = nullptr;
}

static void retryTimer(pa_mainloop_api *api, pa_time_event *e, const struct timeval *, void *userdata)
{
    VOLcontrol *c = (VOLcontrol *)userdata;
    api->time_free(e);
    c->retry = nullptr;
    startConnecting(c);
}

static void connectionFailed(VOLcontrol *c, const char *reason)
{
    if (c->closing || c->retry)
        return;
    if (c->connected)
        LOGinfo("volume: lost the sound server (%s); looking for it again every second", reason);
    forgetSink(c);
    c->connected = false;
    c->failed = true;
    c->status = std::string("no sound server (") + reason + ")";
    if (!c->queue.empty()) {
        logNoServer(c);
        c->queue.clear();
    }
    if (c->context) {
        // The failed context still knows the main loop: its timers follow the monotonic clock.
        c->retry = pa_context_rttime_new(c->context, pa_rtclock_now() + kRetryUsec, retryTimer, c);
    } else {
        struct timeval tv;
        pa_gettimeofday(&tv);
        pa_timeval_add(&tv, kRetryUsec);
        c->retry = c->api->time_new(c->api, &tv, retryTimer, c);
    }
}

static void runQueue(VOLcontrol *c)
{
    while (!c->queue.empty() && c->sinkKnown) {
        MTABaction a = c->queue.front();
        c->queue.pop_front();
        runAction(c, a);
    }
}

// Equal but for the rounding a server may apply to what it was asked for.
static bool sameVolume(const pa_cvolume &a, const pa_cvolume &b)
{
    if (a.channels != b.channels)
        return false;
    for (unsigned i = 0; i < a.channels; i++)
        if (a.values[i] + 2 < b.values[i] || b.values[i] + 2 < a.values[i])
            return false;
    return true;
}

static void sinkInfo(pa_context *, const pa_sink_info *i, int eol, void *userdata)
{
    VOLcontrol *c = (VOLcontrol *)userdata;
    if (eol != 0) {
        if (c->infoInFlight > 0)
            c->infoInFlight--;
        if (eol < 0) {
            forgetSink(c);
            if (!c->noSinkLogged)
                LOGinfo("volume: the sound server has no output (%s)", pa_strerror(pa_context_errno(c->context)));
            c->noSinkLogged = true;
            c->queue.clear();
        }
        return;
    }
    if (c->ownPending > 0) {
        c->refreshAgain = true;
        return;
    }
    if (c->fadeTimer && i->index != c->sinkIndex)
        stopFade(c);
    bool external = !c->sinkKnown || i->index != c->sinkIndex || !sameVolume(i->volume, c->lastSent);
    c->sinkIndex = i->index;
    c->volume = i->volume;
    c->muted = i->mute != 0;
    if (external) {
        // Someone else set the level: it is the balance to keep and the level a fade-in goes to.
        if (levelOf(i->volume) > PA_VOLUME_MUTED)
            c->shape = i->volume;
        c->lastSent = i->volume;
        c->haveBeforeFade = false;
    }
    c->sinkKnown = true;
    c->noSinkLogged = false;
    runQueue(c);
}

static void refreshSink(VOLcontrol *c)
{
    if (!c->connected)
        return;
    pa_operation *o = pa_context_get_sink_info_by_name(c->context, "@DEFAULT_SINK@", sinkInfo, c);
    if (o) {
        c->infoInFlight++;
        pa_operation_unref(o);
    }
}

// Our own requests are counted so that news of the sink asked for before them is not taken for
// the state after them; news that came meanwhile is asked for again once they are all answered.
static void ownDone(pa_context *, int, void *userdata)
{
    VOLcontrol *c = (VOLcontrol *)userdata;
    if (c->ownPending > 0)
        c->ownPending--;
    if (c->ownPending == 0 && c->refreshAgain) {
        c->refreshAgain = false;
        refreshSink(c);
    }
}

static void subscribed(pa_context *, pa_subscription_event_type_t type, uint32_t, void *userdata)
{
    VOLcontrol *c = (VOLcontrol *)userdata;
    pa_subscription_event_type_t facility = (pa_subscription_event_type_t)(type & PA_SUBSCRIPTION_EVENT_FACILITY_MASK);
    if (facility == PA_SUBSCRIPTION_EVENT_SINK || facility == PA_SUBSCRIPTION_EVENT_SERVER)
        refreshSink(c);
}

static void serverInfo(pa_context *context, const pa_server_info *i, void *userdata)
{
    VOLcontrol *c = (VOLcontrol *)userdata;
    if (!i)
        return;
    const char *where = pa_context_get_server(context);
    c->status = std::string("connected to ") + (i->server_name ? i->server_name : "?") + " "
        + (i->server_version ? i->server_version : "?") + " (" + (where ? where : "?") + ")";
    LOGinfo("volume: %s", c->status.c_str());
}

static void contextState(pa_context *context, void *userdata)
{
    VOLcontrol *c = (VOLcontrol *)userdata;
    switch (pa_context_get_state(context)) {
    case PA_CONTEXT_READY: {
        c->connected = true;
        c->failed = false;
        c->failureLogged = false;
        const char *where = pa_context_get_server(context);
        c->status = std::string("connected to ") + (where ? where : "the sound server");
        pa_context_set_subscribe_callback(context, subscribed, c);
        pa_operation *o = pa_context_subscribe(context,
            (pa_subscription_mask_t)(PA_SUBSCRIPTION_MASK_SINK | PA_SUBSCRIPTION_MASK_SERVER), nullptr, nullptr);
        if (o)
            pa_operation_unref(o);
        o = pa_context_get_server_info(context, serverInfo, c);
        if (o)
            pa_operation_unref(o);
        refreshSink(c);
        break;
    }
    case PA_CONTEXT_FAILED:
    case PA_CONTEXT_TERMINATED:
        connectionFailed(c, pa_strerror(pa_context_errno(context)));
        break;
    default:
        break;
    }
}

static void startConnecting(VOLcontrol *c)
{
    dropContext(c);
    c->context = pa_context_new(c->api, "vqx-mapper");
    if (!c->context) {
        connectionFailed(c, "no client context");
        return;
    }
    pa_context_set_state_callback(c->context, contextState, c);
    if (pa_context_connect(c->context, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0)
        connectionFailed(c, pa_strerror(pa_context_errno(c->context)));
}

static void sendVolume(VOLcontrol *c, const pa_cvolume &v)
{
    pa_operation *o = pa_context_set_sink_volume_by_index(c->context, c->sinkIndex, &v, ownDone, c);
    if (o) {
        c->ownPending++;
        pa_operation_unref(o);
    }
    c->volume = v;
    c->lastSent = v;
    if (levelOf(v) > PA_VOLUME_MUTED)
        c->shape = v;
}

static void sendMute(VOLcontrol *c, bool mute)
{
    pa_operation *o = pa_context_set_sink_mute_by_index(c->context, c->sinkIndex, mute, ownDone, c);
    if (o) {
        c->ownPending++;
        pa_operation_unref(o);
    }
    c->muted = mute;
}

// The volume with the given level and the channel balance of `shape`.
static pa_cvolume scaled(VOLcontrol *c, const pa_cvolume &shape, pa_volume_t level)
{
    pa_cvolume v = shape;
    if (v.channels != c->volume.channels || levelOf(v) == PA_VOLUME_MUTED)
        v = c->volume;
    if (levelOf(v) == PA_VOLUME_MUTED && c->shape.channels == c->volume.channels)
        v = c->shape;
    pa_cvolume_scale(&v, level);
    return v;
}

static void fadeTick(pa_mainloop_api *, pa_time_event *e, const struct timeval *, void *userdata)
{
    VOLcontrol *c = (VOLcontrol *)userdata;
    pa_usec_t now = pa_rtclock_now();
    pa_usec_t elapsed = now > c->fadeStart ? now - c->fadeStart : 0;
    if (elapsed < c->fadeLength) {
        int64_t span = (int64_t)c->fadeTo - (int64_t)c->fadeFrom;
        int64_t level = (int64_t)c->fadeFrom + span * (int64_t)elapsed / (int64_t)c->fadeLength;
        sendVolume(c, scaled(c, c->fadeShape, (pa_volume_t)level));
        pa_usec_t next = c->fadeStart + (elapsed / kFadeStepUsec + 1) * kFadeStepUsec;
        pa_context_rttime_restart(c->context, e, next);
        return;
    }
    c->api->time_free(e);
    c->fadeTimer = nullptr;
    sendVolume(c, scaled(c, c->fadeShape, c->fadeTo));
    if (c->fadingOut) {
        // Silent now: mute, then put the level back so that unmuting restores it.
        sendMute(c, true);
        sendVolume(c, c->haveBeforeFade ? c->beforeFade : c->fadeShape);
        LOGtrace("volume: faded out; muted at %s", percent(levelOf(c->volume)).c_str());
    } else {
        c->haveBeforeFade = false;
        LOGtrace("volume: faded in to %s", percent(c->fadeTo).c_str());
    }
}

static void startFade(VOLcontrol *c, pa_volume_t from, pa_volume_t to, const pa_cvolume &shape, int seconds)
{
    c->fadeFrom = from;
    c->fadeTo = to;
    c->fadeShape = shape;
    c->fadeStart = pa_rtclock_now();
    c->fadeLength = (pa_usec_t)seconds * 1000000;
    c->fadeTimer = pa_context_rttime_new(c->context, c->fadeStart + kFadeStepUsec, fadeTick, c);
}

static void fade(VOLcontrol *c, const MTABaction &a, bool wasFadingOut)
{
    int seconds = a.volValue < 1 ? 1 : a.volValue > 60 ? 60 : a.volValue;
    pa_volume_t level = levelOf(c->volume);
    bool out = a.fadeType == 1;
    if (a.fadeType == 2)
        out = !c->muted && level > PA_VOLUME_MUTED && !wasFadingOut;
    else if (a.fadeType != 0 && a.fadeType != 1) {
        LOGinfo("volume: unknown fade kind %d", (int)a.fadeType);
        return;
    }
    if (out) {
        if (c->muted)
            return;
        if (level == PA_VOLUME_MUTED) {
            sendMute(c, true);
            return;
        }
        if (!c->haveBeforeFade) {
            c->beforeFade = c->volume;
            c->haveBeforeFade = true;
        }
        c->fadingOut = true;
        LOGtrace("volume: fading out from %s over %d s", percent(level).c_str(), seconds);
        startFade(c, level, PA_VOLUME_MUTED, c->volume, seconds);
        return;
    }
    pa_cvolume target = c->haveBeforeFade ? c->beforeFade : c->volume;
    pa_volume_t to = levelOf(target);
    pa_volume_t from = level;
    if (c->muted || level == PA_VOLUME_MUTED) {
        // From silence: the level goes to zero before the sink is unmuted.
        from = PA_VOLUME_MUTED;
        sendVolume(c, scaled(c, target, PA_VOLUME_MUTED));
        sendMute(c, false);
    }
    if (to <= from) {
        c->haveBeforeFade = false;
        return;
    }
    c->fadingOut = false;
    LOGtrace("volume: fading in from %s to %s over %d s", percent(from).c_str(), percent(to).c_str(), seconds);
    startFade(c, from, to, target, seconds);
}

static void runAction(VOLcontrol *c, const MTABaction &a)
{
    bool wasFadingOut = c->fadeTimer && c->fadingOut;
    stopFade(c); // any volume action stops a fade where it is
    pa_volume_t level = levelOf(c->volume);
    switch (a.volSubtype) {
    case 1: { // SET
        int32_t v = a.volValue < 0 ? 0 : a.volValue > 255 ? 255 : a.volValue;
        sendVolume(c, scaled(c, c->volume, shareOfFull(v)));
        c->haveBeforeFade = false;
        if (a.unMute)
            sendMute(c, false);
        LOGtrace("volume: set to %s%s", percent(levelOf(c->volume)).c_str(), a.unMute ? ", unmuted" : "");
        break;
    }
    case 2: { // CHG
        int32_t v = a.volValue < -255 ? -255 : a.volValue > 255 ? 255 : a.volValue;
        pa_volume_t step = shareOfFull(v < 0 ? -v : v);
        pa_volume_t next = level;
        if (v >= 0 && level < PA_VOLUME_NORM)
            next = level + step > PA_VOLUME_NORM ? PA_VOLUME_NORM : level + step;
        else if (v < 0)
            next = level > step ? level - step : PA_VOLUME_MUTED;
        sendVolume(c, scaled(c, c->volume, next));
        c->haveBeforeFade = false;
        if (a.unMute)
            sendMute(c, false);
        LOGtrace("volume: changed to %s%s", percent(next).c_str(), a.unMute ? ", unmuted" : "");
        break;
    }
    case 3: // MUTE
        if (a.volValue < 0 || a.volValue > 2) {
            LOGinfo("volume: unknown mute kind %d", (int)a.volValue);
            break;
        }
        sendMute(c, a.volValue == 2 ? !c->muted : a.volValue == 1);
        LOGtrace("volume: %s", c->muted ? "muted" : "unmuted");
        break;
    case 4:
        fade(c, a, wasFadingOut);
        break;
    default:
        LOGinfo("volume: unknown volume action %d", (int)a.volSubtype);
        break;
    }
}

VOLcontrol *VOLopen(void)
{
    VOLcontrol *c = new VOLcontrol;
    pa_cvolume_init(&c->volume);
    pa_cvolume_init(&c->lastSent);
    pa_cvolume_init(&c->shape);
    pa_cvolume_init(&c->fadeShape);
    pa_cvolume_init(&c->beforeFade);
    c->loop = pa_threaded_mainloop_new();
    if (!c->loop || pa_threaded_mainloop_start(c->loop) < 0) {
        if (c->loop)
            pa_threaded_mainloop_free(c->loop);
        c->loop = nullptr;
        c->failed = true;
        c->status = "no sound server (the client thread could not start)";
        return c;
    }
    pa_threaded_mainloop_set_name(c->loop, "vqx-volume");
    c->api = pa_threaded_mainloop_get_api(c->loop);
    pa_threaded_mainloop_lock(c->loop);
    startConnecting(c);
    pa_threaded_mainloop_unlock(c->loop);
    return c;
}

void VOLperform(VOLcontrol *c, const MTABaction &action)
{
    if (!c)
        return;
    if (!c->loop) {
        logNoServer(c);
        return;
    }
    pa_threaded_mainloop_lock(c->loop);
    if (c->failed)
        logNoServer(c);
    else if (c->sinkKnown)
        runAction(c, action);
    else if (!c->connected || c->infoInFlight > 0) {
        if (c->queue.size() < kQueueMax)
            c->queue.push_back(action);
    } else if (!c->noSinkLogged) {
        c->noSinkLogged = true;
        LOGinfo("volume: the sound server has no output");
    }
    pa_threaded_mainloop_unlock(c->loop);
}

std::string VOLstatus(VOLcontrol *c)
{
    if (!c)
        return "no volume control";
    if (!c->loop)
        return c->status;
    pa_threaded_mainloop_lock(c->loop);
    std::string status = c->status;
    pa_threaded_mainloop_unlock(c->loop);
    return status;
}

void VOLclose(VOLcontrol *c)
{
    if (!c)
        return;
    if (c->loop) {
        pa_threaded_mainloop_lock(c->loop);
        c->closing = true;
        stopFade(c);
        if (c->retry)
            c->api->time_free(c->retry);
        c->retry = nullptr;
        c->queue.clear();
        // Lets the requests already sent reach the server, for at most half a second.
        pa_operation *drain = c->connected ? pa_context_drain(c->context, nullptr, nullptr) : nullptr;
        for (int i = 0; drain && i < 100 && pa_operation_get_state(drain) == PA_OPERATION_RUNNING; i++) {
            pa_threaded_mainloop_unlock(c->loop);
            usleep(5000);
            pa_threaded_mainloop_lock(c->loop);
        }
        if (drain)
            pa_operation_unref(drain);
        dropContext(c);
        pa_threaded_mainloop_unlock(c->loop);
        pa_threaded_mainloop_stop(c->loop);
        pa_threaded_mainloop_free(c->loop);
    }
    delete c;
}

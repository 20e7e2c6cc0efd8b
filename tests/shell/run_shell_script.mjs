// Runs the GNOME Shell extension or the KWin script under node with small stand-ins for what the
// shell gives them (gi's Gio/GLib/Shell and global.display; KWin's workspace and callDBus), moves
// the focus between made-up windows and checks the bus calls they make. Prints each call that
// names an application as "CALL|appId|windowClass|pid" for the caller to forward.
//   node run_shell_script.mjs gnome43|gnome45|kwin5|kwin6 SCRIPT PID
// PID is the process given to the first window. Exit status 1 with "FAIL: ..." on a mismatch.
import fs from 'node:fs';
import vm from 'node:vm';

const [kind, scriptPath, pidText] = process.argv.slice(2);
const PID = Number(pidText);
const source = fs.readFileSync(scriptPath, 'utf8');
const BUS = ['com.Orvenda.VQX.Mapper', '/com/Orvenda/VQX/Mapper', 'com.Orvenda.VQX.Mapper1', 'SetFrontApplication'];

function fail(message) {
    console.log(`FAIL: ${kind}: ${message}`);
    process.exit(1);
}

function same(actual, expected, what) {
    if (JSON.stringify(actual) !== JSON.stringify(expected))
        fail(`${what}: got ${JSON.stringify(actual)}, expected ${JSON.stringify(expected)}`);
}

// A signal source as GObject has them: connect gives an id, disconnect takes it back.
class Signals {
    constructor() {
        this.handlers = new Map();
        this.next = 1;
    }
    connect(name, callback) {
        const id = this.next++;
        this.handlers.set(id, { name, callback });
        return id;
    }
    disconnect(id) {
        if (!this.handlers.delete(id))
            fail(`disconnect of an unknown handler ${id}`);
    }
    emit(name, ...args) {
        for (const h of [...this.handlers.values()])
            if (h.name === name)
                h.callback(this, ...args);
    }
}

// ---- GNOME Shell ----

function gnomeMocks() {
    const calls = [];
    const logs = [];
    const watches = new Map();
    let nextWatch = 1;

    class DBusError extends Error {
        constructor(code, message) {
            super(message);
            this.code = code;
        }
        matches(domain, code) {
            return domain === Gio.DBusError && code === this.code;
        }
    }
    const Gio = {
        DBusError: { SERVICE_UNKNOWN: 2, NAME_HAS_NO_OWNER: 3, UNKNOWN_METHOD: 19, INVALID_ARGS: 16 },
        DBusCallFlags: { NONE: 0, NO_AUTO_START: 1 },
        BusType: { SESSION: 2 },
        BusNameWatcherFlags: { NONE: 0 },
        DBus: {
            session: {
                call(name, path, iface, method, parameters, replyType, flags, timeout, cancellable, callback) {
                    calls.push({ target: [name, path, iface, method], parameters, flags, callback });
                },
            },
        },
        bus_watch_name(busType, name, flags, appeared, vanished) {
            const id = nextWatch++;
            watches.set(id, { busType, name, appeared, vanished });
            return id;
        },
        bus_unwatch_name(id) {
            if (!watches.delete(id))
                fail(`bus_unwatch_name of an unknown watch ${id}`);
        },
    };
    const GLib = {
        Variant: class {
            constructor(type, value) {
                this.type = type;
                this.value = value;
            }
        },
    };
    const apps = new Map();
    const Shell = {
        WindowTracker: { get_default: () => ({ get_window_app: win => apps.get(win) ?? null }) },
    };
    const display = new Signals();
    display.focus_window = null;
    const win = (appId, gtkId, wmClass, pid) => {
        const w = {
            get_gtk_application_id: () => gtkId,
            get_wm_class: () => wmClass,
            get_pid: () => pid,
        };
        if (appId !== null)
            apps.set(w, { get_id: () => appId });
        return w;
    };
    const focus = w => {
        display.focus_window = w;
        display.emit('notify::focus-window');
    };
    return { calls, logs, watches, Gio, GLib, Shell, display, win, focus, DBusError };
}

async function loadGnome43(m) {
    const context = vm.createContext({
        imports: { gi: { Gio: m.Gio, GLib: m.GLib, Shell: m.Shell } },
        global: { display: m.display },
        log: text => m.logs.push(String(text)),
        console: { log: text => m.logs.push(String(text)), warn: text => m.logs.push(String(text)) },
    });
    vm.runInContext(source, context, { filename: scriptPath });
    if (typeof context.init !== 'function')
        fail('the extension has no init()');
    return context.init({ uuid: 'vqx-front@orvenda-vqx' });
}

async function loadGnome45(m) {
    if (typeof vm.SourceTextModule !== 'function')
        fail('node runs without --experimental-vm-modules');
    const context = vm.createContext({
        global: { display: m.display },
        console: { log: text => m.logs.push(String(text)), warn: text => m.logs.push(String(text)) },
    });
    const provided = {
        'gi://Gio': m.Gio,
        'gi://GLib': m.GLib,
        'gi://Shell': m.Shell,
    };
    class Extension {
        constructor(metadata) {
            this.metadata = metadata;
            this.uuid = metadata.uuid;
        }
    }
    const linker = async specifier => {
        let exports;
        if (specifier in provided)
            exports = { default: provided[specifier] };
        else if (specifier === 'resource:///org/gnome/shell/extensions/extension.js')
            exports = { Extension };
        else
            fail(`the extension imports ${specifier}, which the test does not provide`);
        const names = Object.keys(exports);
        return new vm.SyntheticModule(names, function () {
            for (const n of names)
                this.setExport(n, exports[n]);
        }, { context });
    };
    const module = new vm.SourceTextModule(source, { context, identifier: scriptPath });
    await module.link(linker);
    await module.evaluate();
    const Default = module.namespace.default;
    if (typeof Default !== 'function')
        fail('the extension module has no default export class');
    const extension = new Default({ uuid: 'vqx-front@orvenda-vqx' });
    if (!(extension instanceof Extension))
        fail('the default export does not extend Extension');
    return extension;
}

async function runGnome(load) {
    const m = gnomeMocks();
    const totem = m.win('org.gnome.Totem.desktop', 'org.gnome.Totem', 'Totem', PID);
    // A window the Shell has no desktop entry for: its application id is "window:N".
    const probe = m.win('window:7', 'org.example.Probe', 'Probe-window', -1);
    // A window with nothing known but its class.
    const bare = m.win(null, null, 'xterm', 0);

    const extension = await load(m);
    same(m.calls.length, 0, 'calls before enable()');
    extension.enable();
    same(m.display.handlers.size, 1, 'focus handlers after enable()');
    same(m.watches.size, 1, 'bus name watches after enable()');
    const watch = [...m.watches.values()][0];
    same(watch.name, 'com.Orvenda.VQX.Mapper', 'the watched bus name');

    // Nothing focused at first: the Mapper is told that nothing is in front.
    same(m.calls.length, 1, 'calls after enable()');
    const args = c => c.parameters.value;
    same(args(m.calls[0]), ['', '', 0], 'the call with nothing focused');

    m.focus(totem);
    same(m.calls.length, 2, 'calls after focusing Totem');
    const call = m.calls[1];
    same(call.target, BUS, 'the bus service, object, interface and method');
    same(call.parameters.type, '(ssu)', 'the argument types');
    same(args(call), ['org.gnome.Totem', 'Totem', PID], 'the call for Totem');
    if (!(call.flags & m.Gio.DBusCallFlags.NO_AUTO_START))
        fail('the call may start a Mapper through bus activation');

    // The same window again (focus notified twice) is not told twice.
    m.focus(totem);
    same(m.calls.length, 2, 'calls after Totem was focused again');

    m.focus(probe);
    same(args(m.calls[2]), ['org.example.Probe', 'Probe-window', 0], 'the call for a window without an entry');
    m.focus(bare);
    same(args(m.calls[3]), ['', 'xterm', 0], 'the call for a window known by its class only');
    m.focus(probe);

    // A Mapper that appears on the bus is told the window in front at once.
    const before = m.calls.length;
    watch.appeared(null, 'com.Orvenda.VQX.Mapper', ':1.5');
    same(m.calls.length, before + 1, 'calls after the Mapper appeared');
    same(args(m.calls[before]), ['org.example.Probe', 'Probe-window', 0], 'the call when the Mapper appeared');

    // Replies: no Mapper running is silent; another error is logged once.
    const finish = error => ({
        call_finish() {
            if (error)
                throw error;
            return null;
        },
    });
    m.calls[0].callback(finish(null), {});
    m.calls[1].callback(finish(new m.DBusError(m.Gio.DBusError.SERVICE_UNKNOWN, 'no such name')), {});
    m.calls[2].callback(finish(new m.DBusError(m.Gio.DBusError.NAME_HAS_NO_OWNER, 'no owner')), {});
    same(m.logs.length, 0, 'log lines after replies of a Mapper not running');
    m.calls[3].callback(finish(new m.DBusError(m.Gio.DBusError.INVALID_ARGS, 'expects (ssu)')), {});
    m.calls[4].callback(finish(new m.DBusError(m.Gio.DBusError.INVALID_ARGS, 'expects (ssu)')), {});
    same(m.logs.length, 1, 'log lines after two refusals');

    extension.disable();
    same(m.display.handlers.size, 0, 'focus handlers after disable()');
    same(m.watches.size, 0, 'bus name watches after disable()');
    const after = m.calls.length;
    m.focus(totem);
    same(m.calls.length, after, 'calls after disable()');
    // Enabled again (the screen unlocked), it tells the window in front anew.
    extension.enable();
    same(args(m.calls[m.calls.length - 1]), ['org.gnome.Totem', 'Totem', PID], 'the call after enable() again');
    extension.disable();

    for (const c of [m.calls[1], m.calls[2], m.calls[3]])
        console.log(['CALL', ...args(c)].join('|'));
}

// ---- KWin ----

async function runKwin(plasma6) {
    const calls = [];
    const context = vm.createContext({
        callDBus: (...a) => calls.push(a),
        print: () => {},
    });
    const ArrayBufferThere = vm.runInContext('ArrayBuffer', context);
    const bytes = textValue => {
        // Plasma 5 hands resourceClass over as bytes.
        const buffer = new ArrayBufferThere(textValue.length);
        const view = new (vm.runInContext('Uint8Array', context))(buffer);
        for (let i = 0; i < textValue.length; i++)
            view[i] = textValue.charCodeAt(i);
        return buffer;
    };
    const win = (desktopFileName, resourceClass, pid) => ({
        desktopFileName,
        resourceClass: plasma6 ? resourceClass : bytes(resourceClass),
        resourceName: plasma6 ? resourceClass.toLowerCase() : bytes(resourceClass.toLowerCase()),
        pid,
    });
    const dolphin = win('org.kde.dolphin', 'dolphin', PID);
    const konsole = win('org.kde.konsole.desktop', 'konsole', 0);
    const xterm = win('', 'XTerm', 0);

    const activated = new Signals();
    const signal = { connect: cb => activated.connect('activated', (_, w) => cb(w)) };
    const workspace = plasma6 ? { windowActivated: signal, activeWindow: dolphin }
                              : { clientActivated: signal, activeClient: dolphin };
    context.workspace = workspace;
    vm.runInContext(source, context, { filename: scriptPath });
    same(activated.handlers.size, 1, `handlers on ${plasma6 ? 'windowActivated' : 'clientActivated'}`);
    const activate = w => activated.emit('activated', w);

    // The window active when the script starts is told at once.
    same(calls.length, 1, 'calls after loading');
    same(calls[0].slice(0, 4), BUS, 'the bus service, object, interface and method');
    same(calls[0].length, 7, 'the number of callDBus arguments');
    same(calls[0].slice(4), ['org.kde.dolphin', 'dolphin', PID], 'the call for Dolphin');
    activate(dolphin);
    same(calls.length, 1, 'calls after Dolphin was activated again');
    activate(konsole);
    same(calls[1].slice(4), ['org.kde.konsole', 'konsole', 0], 'the call for Konsole');
    activate(xterm);
    same(calls[2].slice(4), ['', 'XTerm', 0], 'the call for a window without a desktop entry');
    // Nothing active (the desktop shown, the last window closed).
    activate(null);
    same(calls[3].slice(4), ['', '', 0], 'the call with no window active');
    for (const c of calls.slice(0, 3)) {
        if (typeof c[6] !== 'number' || !Number.isInteger(c[6]))
            fail(`the process id ${c[6]} is not a whole number`);
        console.log(['CALL', ...c.slice(4)].join('|'));
    }
}

try {
    if (kind === 'gnome43')
        await runGnome(loadGnome43);
    else if (kind === 'gnome45')
        await runGnome(loadGnome45);
    else if (kind === 'kwin5')
        await runKwin(false);
    else if (kind === 'kwin6')
        await runKwin(true);
    else
        fail('the kind is one of gnome43, gnome45, kwin5, kwin6');
} catch (e) {
    fail(`the script threw: ${e && e.stack ? e.stack : e}`);
}

// Tells the Orvenda VQX Mapper which application is in front (GNOME Shell 45 to 47): at each
// focus change it calls SetFrontApplication(appId, windowClass, pid) on the session bus.
import Gio from 'gi://Gio';
import GLib from 'gi://GLib';
import Shell from 'gi://Shell';

import { Extension } from 'resource:///org/gnome/shell/extensions/extension.js';

const BUS_NAME = 'com.Orvenda.VQX.Mapper';
const OBJECT_PATH = '/com/Orvenda/VQX/Mapper';
const INTERFACE = 'com.Orvenda.VQX.Mapper1';

// The application of a window as the Mapper names it: the desktop entry id without ".desktop"
// (the Shell's own "window:N" ids for windows without an entry do not count), else the
// window's GTK application id; its WM_CLASS class; its process.
function describeWindow(tracker, win) {
    if (!win)
        return ['', '', 0];
    let appId = '';
    const app = tracker.get_window_app(win);
    const id = app ? app.get_id() : null;
    if (id && !id.startsWith('window:'))
        appId = id;
    if (!appId)
        appId = win.get_gtk_application_id() || '';
    if (appId.endsWith('.desktop'))
        appId = appId.slice(0, -'.desktop'.length);
    const windowClass = win.get_wm_class() || '';
    const pid = win.get_pid();
    return [appId, windowClass, Number.isInteger(pid) && pid > 0 ? pid : 0];
}

export default class VqxFrontExtension extends Extension {
    enable() {
        this._last = null;
        this._complained = false;
        this._tracker = Shell.WindowTracker.get_default();
        this._focusHandler = global.display.connect('notify::focus-window', () => this._report());
        // A Mapper started later learns the application in front as soon as it is on the bus.
        this._watch = Gio.bus_watch_name(Gio.BusType.SESSION, BUS_NAME, Gio.BusNameWatcherFlags.NONE,
            () => {
                this._last = null;
                this._report();
            }, null);
        this._report();
    }

    disable() {
        if (this._focusHandler)
            global.display.disconnect(this._focusHandler);
        if (this._watch)
            Gio.bus_unwatch_name(this._watch);
        this._focusHandler = 0;
        this._watch = 0;
        this._last = null;
        this._tracker = null;
    }

    _report() {
        const front = describeWindow(this._tracker, global.display.focus_window);
        const key = front.join('\n');
        if (key === this._last)
            return;
        this._last = key;
        Gio.DBus.session.call(BUS_NAME, OBJECT_PATH, INTERFACE, 'SetFrontApplication',
            new GLib.Variant('(ssu)', front), null, Gio.DBusCallFlags.NO_AUTO_START, -1, null,
            (connection, result) => {
                try {
                    connection.call_finish(result);
                } catch (e) {
                    // No Mapper running is the usual case, not an error; anything else is
                    // told once a session.
                    if (e.matches?.(Gio.DBusError, Gio.DBusError.SERVICE_UNKNOWN))
                        return;
                    if (e.matches?.(Gio.DBusError, Gio.DBusError.NAME_HAS_NO_OWNER))
                        return;
                    if (!this._complained)
                        console.log(`vqx-front: the Mapper refused the application in front: ${e.message}`);
                    this._complained = true;
                }
            });
    }
}

// Tells the Orvenda VQX Mapper which application is in front (KWin, Plasma 5.27 and 6): at each
// activation it calls SetFrontApplication(appId, windowClass, pid) on the session bus.
// Plasma 6 names the signal windowActivated and the property activeWindow; 5.27 clientActivated
// and activeClient. Each window offers desktopFileName, resourceClass and pid.

var BUS_NAME = "com.Orvenda.VQX.Mapper";
var OBJECT_PATH = "/com/Orvenda/VQX/Mapper";
var INTERFACE = "com.Orvenda.VQX.Mapper1";

var lastSent = null;

// A window property as text: Plasma 6 gives strings, Plasma 5 gives byte arrays (ArrayBuffer) for
// resourceClass and resourceName.
function text(value) {
    if (value === undefined || value === null)
        return "";
    if (typeof ArrayBuffer !== "undefined" && value instanceof ArrayBuffer) {
        var bytes = new Uint8Array(value);
        var s = "";
        for (var i = 0; i < bytes.length; i++)
            s += String.fromCharCode(bytes[i]);
        return s;
    }
    return String(value);
}

// The application of a window as the Mapper names it: its desktop entry id without ".desktop",
// its window class, its process (0 when unknown).
function describeWindow(win) {
    if (!win)
        return ["", "", 0];
    var appId = text(win.desktopFileName);
    if (appId.slice(-8) === ".desktop")
        appId = appId.slice(0, -8);
    var windowClass = text(win.resourceClass);
    var pid = Number(win.pid);
    if (!(pid > 0) || Math.floor(pid) !== pid)
        pid = 0;
    return [appId, windowClass, pid];
}

function report(win) {
    var front = describeWindow(win);
    var key = front.join("\n");
    if (key === lastSent)
        return;
    lastSent = key;
    // No callback: a Mapper that is not running is no error worth telling.
    callDBus(BUS_NAME, OBJECT_PATH, INTERFACE, "SetFrontApplication", front[0], front[1], front[2]);
}

if (workspace.windowActivated) {
    workspace.windowActivated.connect(report);
    report(workspace.activeWindow);
} else {
    workspace.clientActivated.connect(report);
    report(workspace.activeClient);
}

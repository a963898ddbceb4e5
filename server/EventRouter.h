#pragma once

// Where briskEvent sends a command: the one statement of the dispatch rules, read
// by the server to dispatch and by the configuration checker to describe what a
// configured command will do.
class EventRouter {
public:
    enum class Route {
        Probe,           // ProbeHandler::handle; the configuration is not read
        Scene,           // the special-scene arbiter
        GovernorScene,   // the same, for a scene applied beside scene 4119
        OnOff,           // the on/off splitter
        SchedEvent,      // a step without duration: SchedLevelManager::doEventSchedLevel
        PlatformAction,  // a timed step: the back-end's doAction with the host's payload
        RestartNotice,   // a client restarted: every scene is dropped
        ReportSwitch,    // switches frequency reporting through briskSetConfig
        Ignored,         // nothing is done and the answer is 0
    };

    // The duration of a command without steps, and of the ids that read none.
    static constexpr int kNoStep = -1;

    // True for the ids whose route depends on their configured first step: every
    // id below the client restart notice except the probe.
    static bool readsStep(int cmdId);

    // The route of `cmdId` whose first step has `duration` (kNoStep for a
    // command without steps). For ids that read no step the duration is not looked at.
    static Route route(int cmdId, int duration);
    // A route in a few words, as tools show it ("scene", "on/off", ...).
    static const char* routeName(Route route);
};

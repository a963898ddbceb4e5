#pragma once

// The daemon's log sink: every line of the daemon and the service to standard
// error (the journal under systemd), one line per message. Messages of the
// service that end in a newline of their own would otherwise leave blank lines.
class DaemonLogger {
public:
    // Installs the sink; `verbose` lets debug lines through too.
    static void install(bool verbose);
};

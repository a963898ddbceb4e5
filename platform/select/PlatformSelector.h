#pragma once

#include <string>
#include <vector>

#include "platform/linux/LinuxBackendSettings.h"

class BriskPlat;

// Chooses the back-end that getPlat() puts behind the platform adapter: the one
// place where brisk_plat's back-ends meet (it also supplies getPlat and
// createBriskLoadXml). A host chooses before BriskServer::init; the simulated
// device is the default, so a host that never calls this gets what it always got.
//
//     LinuxBackendSettings settings;                 // "/", "/run/brisk", no description
//     settings.descriptionFile = "/etc/brisk/backend.xml";
//     PlatformSelector::useLinuxBackend(settings);
//     BriskServer server;
//     server.init();                                 // discovers the machine
//     ...                                            // deleting the server restores it
class PlatformSelector {
public:
    static void useSimulatedDevice();
    static void useLinuxBackend(const LinuxBackendSettings& settings);
    static bool usesLinuxBackend();

    // A new adapter over the chosen back-end (what getPlat() returns).
    static BriskPlat* createPlat();

    // Without changing anything: what the Linux back-end would write here, and
    // whether it can. True when every capability found or described is usable.
    static bool checkLinuxBackend(const LinuxBackendSettings& settings,
                                  std::vector<std::string>* report);
    // Puts back what a Linux back-end that ended without restoring (killed, or
    // crashed) left changed, from the journal in the state folder. True when
    // nothing was left or everything was put back.
    static bool restoreLinuxBackend(const LinuxBackendSettings& settings,
                                    std::vector<std::string>* report);
};

// A host as the README shows one: the service on the simulated device, with the
// configuration the install ships, driven once. Prints the configuration it
// read and the results; exits 0 when every call succeeded.
#include <cstdio>

#include "platform/sim/CfgFileResolver.h"
#include "server/BriskServer.h"

int main() {
    printf("config %s\n", CfgFileResolver::resolve("xml/brisk_config_cust.xml").c_str());
    BriskServer server;
    if (server.init() != 0) {
        fprintf(stderr, "host: the service did not start\n");
        return 1;
    }
    int begin = 0;
    int event = server.briskEvent(12300, "", 1, &begin);
    int tag = 2;
    int limit = 1200000;
    int set = server.briskSetConfig(1, 1, &tag, &limit);
    printf("event %d set %d\n", event, set);
    return event == 0 && set == 0 ? 0 : 1;
}

#include "tests/support/FakeKernelTree.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

std::string FakeKernelTree::defaultBase() {
    struct stat info {};
    return ::stat("/dev/shm", &info) == 0 && S_ISDIR(info.st_mode) ? "/dev/shm" : "/tmp";
}

FakeKernelTree::FakeKernelTree(const std::string& base) {
    std::string pattern = base + "/brisk-tree-XXXXXX";
    if (mkdtemp(&pattern[0]) == nullptr) {
        throw std::runtime_error("cannot make a folder in " + base);
    }
    mDir = pattern;
    mRoot = mDir + "/root";
    mState = mDir + "/state";
    std::filesystem::create_directories(mRoot);
}

FakeKernelTree::~FakeKernelTree() {
    std::error_code ignored;
    std::filesystem::remove_all(mDir, ignored);
}

void FakeKernelTree::write(const std::string& kernelPath, const std::string& text) {
    std::string full = path(kernelPath);
    std::error_code ignored;  // a folder there already, or a path that leads out on purpose
    std::filesystem::create_directories(full.substr(0, full.rfind('/')), ignored);
    std::ofstream(full, std::ios::trunc) << text << "\n";
}

std::string FakeKernelTree::read(const std::string& kernelPath) const {
    std::ifstream in(path(kernelPath));
    std::stringstream all;
    all << in.rdbuf();
    std::string text = all.str();
    while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) {
        text.pop_back();
    }
    return text;
}

void FakeKernelTree::addPolicy(int n, const std::vector<int>& cpus, long long capacity,
                               long long hwMaxKhz, long long hwMinKhz) {
    std::string dir = kPolicyDir + std::to_string(n);
    std::string list;
    for (int cpu : cpus) {
        list += (list.empty() ? "" : " ") + std::to_string(cpu);
        write("/sys/devices/system/cpu/cpu" + std::to_string(cpu) + "/cpu_capacity",
              std::to_string(capacity));
    }
    write(dir + "/related_cpus", list);
    write(dir + "/affected_cpus", list);
    write(dir + "/cpuinfo_max_freq", std::to_string(hwMaxKhz));
    write(dir + "/cpuinfo_min_freq", std::to_string(hwMinKhz));
    write(dir + "/scaling_max_freq", std::to_string(hwMaxKhz));
    write(dir + "/scaling_min_freq", std::to_string(hwMinKhz));
}

void FakeKernelTree::addDevfreq(const std::string& name,
                                const std::vector<long long>& frequenciesHz) {
    std::string dir = "/sys/class/devfreq/" + name;
    std::string list;
    for (long long hz : frequenciesHz) {
        list += (list.empty() ? "" : " ") + std::to_string(hz);
    }
    write(dir + "/name", name);
    write(dir + "/available_frequencies", list);
    write(dir + "/min_freq", std::to_string(frequenciesHz.front()));
    write(dir + "/max_freq", std::to_string(frequenciesHz.back()));
}

void FakeKernelTree::addZone(int n, const std::string& policy,
                             const std::vector<std::pair<std::string, long long>>& trips,
                             long long sustainablePowerMw) {
    std::string dir = kZoneDir + std::to_string(n);
    write(dir + "/type", "soc-thermal");
    write(dir + "/policy", policy);
    for (size_t k = 0; k < trips.size(); ++k) {
        std::string trip = dir + "/trip_point_" + std::to_string(k);
        write(trip + "_type", trips[k].first);
        write(trip + "_temp", std::to_string(trips[k].second));
    }
    write(dir + "/sustainable_power", std::to_string(sustainablePowerMw));
}

void FakeKernelTree::setBootId(const std::string& id) {
    write("/proc/sys/kernel/random/boot_id", id);
}

void FakeKernelTree::addThread(int tid, unsigned long long start) {
    // Fields 3 to 21, then the start time (22) and a few more.
    write("/proc/" + std::to_string(tid) + "/stat",
          std::to_string(tid) + " (worker (x)) S 1 1 1 0 -1 4194560 0 0 0 0 0 0 0 0 20 0 1 0 " +
              std::to_string(start) + " 0 0");
}

void FakeKernelTree::addCgroups(const std::string& mount, int version,
                                const std::vector<std::string>& groups, bool uclamp) {
    std::string options = version == 2 ? "cgroup2 cgroup2 rw" : "cgroup cgroup rw,cpu,cpuacct";
    write("/proc/self/mountinfo",
          "22 1 0:20 / /sys rw,nosuid - sysfs sysfs rw\n"
          "35 22 0:30 / " +
              mount + " rw,nosuid shared:9 - " + options);
    if (version == 2) {
        write(mount + "/cgroup.controllers", "cpuset cpu io memory pids");
    }
    const char* weight = version == 2 ? "cpu.weight" : "cpu.shares";
    for (const std::string& group : groups) {
        write(mount + "/" + group + "/" + weight, version == 2 ? "100" : "1024");
        if (uclamp) {
            write(mount + "/" + group + "/cpu.uclamp.min", "0.00");
            write(mount + "/" + group + "/cpu.uclamp.max", "max");
        }
    }
}

void FakeKernelTree::buildBigLittle() {
    addPolicy(0, {0, 1, 2, 3}, 446, 1800000);
    addPolicy(4, {4, 5, 6, 7}, 1024, 2400000);
    addDevfreq("13000000.mali", {200000000, 400000000, 800000000});
    addZone(0, "power_allocator", {{"passive", 65000}, {"passive", 80000}, {"critical", 110000}});
    setBootId("11111111-2222-3333-4444-555555555555");
}

std::string FakeKernelTree::writeDescription(const std::string& xml) {
    std::string file = mDir + "/backend.xml";
    std::ofstream(file, std::ios::trunc) << xml;
    return file;
}

LinuxBackendSettings FakeKernelTree::settings() const {
    LinuxBackendSettings settings;
    settings.kernelRoot = mRoot;
    settings.stateDir = mState;
    return settings;
}

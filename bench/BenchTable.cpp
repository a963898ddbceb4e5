// brisk_bench_table RESULTS.json: prints the benchmark results as the Markdown
// tables of docs/performance.md: each case as a time and as a multiple of the
// floor that bounds it, the log's share, targets, scale, contention, the probe
// thread and the daemon.
#include <cmath>
#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "tools/protocol/JsonReader.h"

namespace {

struct Result {
    std::string name;  // run name, without repetition suffixes
    std::map<std::string, std::string> label;
    double timeNs = NAN;  // real time per iteration (median over repetitions when present)
    double cpuNs = NAN;   // CPU time of the calling thread, likewise
    double cvPercent = NAN;
    const Json* json = nullptr;
    bool error = false;
    std::string errorMessage;

    double counter(const std::string& key) const {
        return json != nullptr ? json->numberOr(key, NAN) : NAN;
    }
    std::string field(const std::string& key) const {
        auto it = label.find(key);
        return it == label.end() ? std::string() : it->second;
    }
};

std::map<std::string, std::string> parseLabel(const std::string& text) {
    std::map<std::string, std::string> out;
    std::stringstream in(text);
    std::string item;
    while (std::getline(in, item, ';')) {
        size_t eq = item.find('=');
        if (eq != std::string::npos) {
            out[item.substr(0, eq)] = item.substr(eq + 1);
        }
    }
    return out;
}

double toNs(double value, const std::string& unit) {
    if (unit == "us")
        return value * 1e3;
    if (unit == "ms")
        return value * 1e6;
    if (unit == "s")
        return value * 1e9;
    return value;
}

std::string formatTime(double ns) {
    char buffer[64];
    if (std::isnan(ns)) {
        return "n/a";
    }
    if (ns < 10) {
        snprintf(buffer, sizeof(buffer), "%.2f ns", ns);
    } else if (ns < 1000) {
        snprintf(buffer, sizeof(buffer), "%.0f ns", ns);
    } else if (ns < 1e6) {
        snprintf(buffer, sizeof(buffer), "%.2f µs", ns / 1e3);
    } else {
        snprintf(buffer, sizeof(buffer), "%.2f ms", ns / 1e6);
    }
    return buffer;
}

std::string formatNumber(double value, const char* format) {
    if (std::isnan(value)) {
        return "n/a";
    }
    char buffer[64];
    snprintf(buffer, sizeof(buffer), format, value);
    return buffer;
}

// Results in file order; a run's median aggregate replaces its single runs.
std::vector<Result> collect(const Json& root) {
    std::vector<Result> results;
    std::map<std::string, size_t> index;
    const Json* benchmarks = root.get("benchmarks");
    if (benchmarks == nullptr) {
        return results;
    }
    for (const Json& b : benchmarks->items) {
        std::string runName = b.textOr("run_name", b.textOr("name", ""));
        std::string runType = b.textOr("run_type", "iteration");
        std::string aggregate = b.textOr("aggregate_name", "");
        if (runType == "aggregate" && aggregate != "median" && aggregate != "cv") {
            continue;
        }
        auto found = index.find(runName);
        if (found == index.end()) {
            index[runName] = results.size();
            results.push_back(Result());
            found = index.find(runName);
        }
        Result& r = results[found->second];
        if (aggregate == "cv") {
            r.cvPercent = b.numberOr("real_time", NAN) * 100.0;
            continue;
        }
        if (runType == "iteration" && r.json != nullptr &&
            r.json->textOr("run_type", "") == "aggregate") {
            continue;
        }
        r.name = runName;
        r.json = &b;
        r.timeNs = toNs(b.numberOr("real_time", NAN), b.textOr("time_unit", "ns"));
        r.cpuNs = toNs(b.numberOr("cpu_time", NAN), b.textOr("time_unit", "ns"));
        r.label = parseLabel(b.textOr("label", ""));
        const Json* error = b.get("error_occurred");
        r.error = error != nullptr && error->boolean;
        r.errorMessage = b.textOr("error_message", "");
    }
    return results;
}

std::string caseKey(const std::string& name) {
    size_t pos = name.find("/log:");
    return pos == std::string::npos ? name : name.substr(0, pos);
}

// "met" or "**missed**" by the real time; when the CPU time alone would be judged
// otherwise (a busy machine stretches the real time), that is said too.
std::string judge(double realNs, double cpuNs, double targetNs) {
    bool met = realNs <= targetNs;
    std::string verdict = met ? "met" : "**missed**";
    if (!std::isnan(cpuNs) && (cpuNs <= targetNs) != met) {
        verdict += met ? " (CPU: missed)" : " (CPU: met)";
    }
    return verdict;
}

class Table {
public:
    explicit Table(const std::vector<Result>& results) : mResults(results) {
        for (const Result& r : results) {
            if (r.field("kind") == "floor") {
                mFloors[r.field("id")] = &r;
            }
        }
    }

    void print() {
        printFloors();
        printEntryPoints();
        printScale();
        printContention();
        printProbeThread();
        printDaemon();
        printLinuxBackend();
        printErrors();
    }

private:
    double floorNs(const std::string& name) const {
        auto it = mFloors.find(name);
        return it == mFloors.end() ? NAN : it->second->timeNs;
    }

    void printFloors() {
        if (!has("floor")) {
            return;
        }
        printf("### Floor\n\n| floor | time |\n|---|---:|\n");
        for (const Result& r : mResults) {
            if (r.field("kind") == "floor") {
                printf("| %s (`%s`) | %s |\n", r.field("title").c_str(), r.field("id").c_str(),
                       formatTime(r.timeNs).c_str());
            }
        }
        printf("\n");
    }

    void printEntryPoints() {
        if (!has("entry")) {
            return;
        }
        printf("### Entry points\n\n");
        printf(
            "| case | log filtered | CPU | × floor | device calls | default logger | log lines | "
            "log share | target | |\n");
        printf("|---|---:|---:|---:|---:|---:|---:|---:|---:|---|\n");
        std::vector<std::string> order;
        std::map<std::string, const Result*> filtered;
        std::map<std::string, const Result*> standard;
        for (const Result& r : mResults) {
            if (r.field("kind") != "entry") {
                continue;
            }
            std::string key = caseKey(r.name);
            if (filtered.count(key) == 0 && standard.count(key) == 0) {
                order.push_back(key);
            }
            if (r.name.find("/log:default") != std::string::npos) {
                standard[key] = &r;
            } else {
                filtered[key] = &r;
            }
        }
        for (const std::string& key : order) {
            const Result* f = filtered.count(key) ? filtered[key] : nullptr;
            const Result* d = standard.count(key) ? standard[key] : nullptr;
            const Result* any = f != nullptr ? f : d;
            double fNs = f != nullptr ? f->timeNs : NAN;
            double dNs = d != nullptr ? d->timeNs : NAN;
            std::string floor = any->field("floor");
            double ratio = fNs / floorNs(floor);
            double share = (dNs - fNs) / dNs * 100.0;
            // Without a line logged the difference is noise.
            double logLines = d != nullptr ? d->counter("log_lines") : NAN;
            std::string target = any->field("target_ns");
            std::string verdict;
            if (!target.empty() && !std::isnan(fNs)) {
                verdict = judge(fNs, f != nullptr ? f->cpuNs : NAN, std::stod(target));
            }
            printf("| %s | %s | %s | %s %s | %s | %s | %s | %s | %s | %s |\n",
                   any->field("title").c_str(), formatTime(fNs).c_str(),
                   formatTime(f != nullptr ? f->cpuNs : NAN).c_str(),
                   formatNumber(ratio, "%.0f").c_str(), floor.c_str(),
                   formatNumber(any->counter("device_calls"), "%.1f").c_str(),
                   formatTime(dNs).c_str(), formatNumber(logLines, "%.1f").c_str(),
                   logLines < 0.05 ? "–" : formatNumber(share < 0 ? 0 : share, "%.0f %%").c_str(),
                   target.empty() ? "" : formatTime(std::stod(target)).c_str(), verdict.c_str());
        }
        printf("\n");
    }

    const Result* find(const std::string& kind, const std::string& key,
                       const std::string& value) const {
        for (const Result& r : mResults) {
            if (r.field("kind") == kind && r.field(key) == value) {
                return &r;
            }
        }
        return nullptr;
    }

    bool has(const std::string& kind) const {
        for (const Result& r : mResults) {
            if (r.field("kind") == kind) {
                return true;
            }
        }
        return false;
    }

    void printScale() {
        if (!has("scale_memory") && !has("scale_load") && !has("scale_event")) {
            return;
        }
        printf("### Scale\n\n");
        printf(
            "| commands | file | load through init | CPU | target | heap added | RSS added | "
            "RSS after trim | plain event | × floor |\n");
        printf("|---:|---:|---:|---:|---:|---:|---:|---:|---:|---:|\n");
        for (const char* size : {"100", "1000", "10000"}) {
            const Result* memory = find("scale_memory", "commands", size);
            const Result* load = find("scale_load", "commands", size);
            const Result* event = find("scale_event", "commands", size);
            if (memory == nullptr && load == nullptr && event == nullptr) {
                continue;
            }
            double loadNs = load != nullptr ? load->timeNs : NAN;
            std::string target = load != nullptr ? load->field("target_ms") : "";
            std::string targetText;
            if (!target.empty()) {
                double targetNs = std::stod(target) * 1e6;
                targetText = formatTime(targetNs) + " " +
                             judge(loadNs, load != nullptr ? load->cpuNs : NAN, targetNs);
            }
            double eventNs = event != nullptr ? event->timeNs : NAN;
            printf("| %s | %s kB | %s | %s | %s | %s kB | %s kB | %s kB | %s | %s |\n", size,
                   formatNumber(memory ? memory->counter("file_kB") : NAN, "%.0f").c_str(),
                   formatTime(loadNs).c_str(), formatTime(load ? load->cpuNs : NAN).c_str(),
                   targetText.c_str(),
                   formatNumber(memory ? memory->counter("heap_added_kB") : NAN, "%.0f").c_str(),
                   formatNumber(memory ? memory->counter("rss_added_kB") : NAN, "%.0f").c_str(),
                   formatNumber(memory ? memory->counter("rss_added_after_trim_kB") : NAN, "%.0f")
                       .c_str(),
                   formatTime(eventNs).c_str(),
                   formatNumber(eventNs / floorNs("mutex"), "%.0f").c_str());
        }
        printf("\n");
    }

    void printContention() {
        if (!has("contention")) {
            return;
        }
        printf("### Contention (mix of events and client requests, log filtered)\n\n");
        printf("| host threads | calls/s | p50 | p99 | max |\n|---:|---:|---:|---:|---:|\n");
        for (const Result& r : mResults) {
            if (r.field("kind") != "contention") {
                continue;
            }
            printf("| %s | %s | %s | %s | %s |\n", r.field("threads").c_str(),
                   formatNumber(r.counter("calls_per_s"), "%.0f").c_str(),
                   formatTime(r.counter("p50_ns")).c_str(), formatTime(r.counter("p99_ns")).c_str(),
                   formatTime(r.counter("max_ns")).c_str());
        }
        printf("\n");
    }

    void printProbeThread() {
        if (!has("probe_thread")) {
            return;
        }
        printf("### Probe thread CPU time\n\n");
        printf("| state | CPU | per second | target |\n|---|---:|---:|---|\n");
        for (const Result& r : mResults) {
            if (r.field("kind") != "probe_thread") {
                continue;
            }
            std::string target = r.field("target_percent");
            double percent = r.counter("cpu_percent");
            std::string targetText;
            if (!target.empty()) {
                // Below a microsecond of CPU per second counts as 0 %.
                bool met = r.counter("cpu_us_per_s") < 1.0;
                targetText = target + " % " + (met ? "met" : "**missed**");
            }
            printf("| %s | %s | %s | %s |\n", r.field("title").c_str(),
                   formatNumber(percent, "%.3f %%").c_str(),
                   formatTime(r.counter("cpu_us_per_s") * 1e3).c_str(), targetText.c_str());
        }
        printf("\n");
    }

    void printDaemon() {
        bool any = false;
        for (const Result& r : mResults) {
            if (r.field("kind") != "daemon") {
                continue;
            }
            if (!any) {
                printf("### Daemon round trip\n\n");
                printf("| call | path | clients | p50 | p99 | target (p50) |\n");
                printf("|---|---|---:|---:|---:|---|\n");
                any = true;
            }
            std::string target = r.field("target_p50_ns");
            std::string targetText;
            if (!target.empty()) {
                bool met = r.counter("p50_ns") <= std::stod(target);
                targetText = formatTime(std::stod(target)) + (met ? " met" : " **missed**");
            }
            printf("| %s | %s | %s | %s | %s | %s |\n", r.field("title").c_str(),
                   r.field("path").c_str(), r.field("clients").c_str(),
                   formatTime(r.counter("p50_ns")).c_str(), formatTime(r.counter("p99_ns")).c_str(),
                   targetText.c_str());
        }
        if (any) {
            printf("\n");
        }
    }

    // The Linux back-end: each call beside its floor, the same number of pwrites
    // measured in blocks interleaved with the call's; the target is a ratio to
    // that floor for calls that write, no system call for the others.
    void printLinuxBackend() {
        if (!has("linux")) {
            return;
        }
        printf("### Linux back-end (tmpfs tree)\n\n");
        printf(
            "| call | time | its floor | × floor | CPU × floor | pwrites | system calls | target "
            "| |\n");
        printf("|---|---:|---:|---:|---:|---:|---:|---:|---|\n");
        for (const Result& r : mResults) {
            if (r.field("kind") != "linux") {
                continue;
            }
            double floor = r.counter("floor_ns");
            double ratio = floor > 0 ? r.counter("call_ns") / floor : NAN;
            double cpuRatio =
                floor > 0 ? r.counter("call_cpu_ns") / r.counter("floor_cpu_ns") : NAN;
            double syscalls = r.counter("syscalls");
            std::string target;
            std::string verdict;
            if (!r.field("target_ratio").empty()) {
                double limit = std::stod(r.field("target_ratio"));
                target = formatNumber(limit, "%.1f") + " × floor";
                verdict = ratio <= limit ? "met" : "**missed**";
                if ((cpuRatio <= limit) != (ratio <= limit)) {
                    verdict += ratio <= limit ? " (CPU: missed)" : " (CPU: met)";
                }
            } else if (!r.field("target_syscalls").empty()) {
                target = r.field("target_syscalls") + " system calls";
                verdict = syscalls <= std::stod(r.field("target_syscalls")) ? "met" : "**missed**";
            }
            printf("| %s | %s | %s | %s | %s | %s | %s | %s | %s |\n", r.field("title").c_str(),
                   formatTime(r.counter("call_ns")).c_str(),
                   std::isnan(floor) ? "–" : formatTime(floor).c_str(),
                   formatNumber(ratio, "%.2f").c_str(), formatNumber(cpuRatio, "%.2f").c_str(),
                   formatNumber(r.counter("pwrites"), "%.2f").c_str(),
                   formatNumber(syscalls, "%.2f").c_str(), target.c_str(), verdict.c_str());
        }
        printf("\n");
    }

    void printErrors() {
        for (const Result& r : mResults) {
            if (r.error) {
                printf("- %s: not measured: %s\n", r.name.c_str(), r.errorMessage.c_str());
            }
        }
    }

    const std::vector<Result>& mResults;
    std::map<std::string, const Result*> mFloors;
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: %s RESULTS.json\n", argv[0]);
        return 2;
    }
    std::ifstream file(argv[1]);
    if (!file) {
        fprintf(stderr, "%s: cannot read %s\n", argv[0], argv[1]);
        return 1;
    }
    std::stringstream text;
    text << file.rdbuf();
    Json root;
    std::string error;
    if (!parseJson(text.str(), &root, &error)) {
        fprintf(stderr, "%s: %s: %s\n", argv[0], argv[1], error.c_str());
        return 1;
    }
    Table(collect(root)).print();
    return 0;
}

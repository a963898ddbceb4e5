#include "tests/support/ServerHarness.h"

#include "platform/sim/SimDevice.h"
#include "tools/brisk-sim/DumpCapture.h"

std::string fullTestConfig() {
    return R"(
  <cmd id="5376" name="default_groups">
    <s><boost>0</boost><vip>0</vip><top_app>0</top_app><root>0</root><foreground>0</foreground>
       <system_background>0</system_background><key_background>0</key_background>
       <background>0</background></s>
  </cmd>
  <cmd id="4116" name="probe"><s><duration>500</duration><probe_boost>on</probe_boost></s></cmd>
  <cmd id="4118" name="video"><s><duration>100</duration><priority>150</priority></s></cmd>
  <cmd id="4119" name="gov_base"><s><duration>100</duration><governor>on</governor></s></cmd>
  <cmd id="4122" name="no_priority"><s><duration>100</duration><light>on</light></s></cmd>
  <cmd id="4123" name="camera"><s><duration>100</duration><priority>150</priority></s></cmd>
  <cmd id="4124" name="too_high"><s><duration>100</duration><priority>501</priority></s></cmd>
  <cmd id="4230" name="gov_low"><s><duration>100</duration><priority>120</priority></s></cmd>
  <cmd id="4231" name="gov_high"><s><duration>100</duration><priority>180</priority></s></cmd>
  <cmd id="4232" name="gov_top"><s><duration>100</duration><priority>300</priority></s></cmd>
  <cmd id="4352" name="gov_last"><s><duration>100</duration><priority>50</priority></s></cmd>
  <cmd id="12300" name="game"><s><little_cpu_max>1200000</little_cpu_max><touch>on</touch></s></cmd>
  <cmd id="12301" name="timed_onoff"><s><duration>50</duration><gpu_max>500000</gpu_max></s></cmd>
  <cmd id="12302" name="bad_onoff"><s><big_cpu_min>0</big_cpu_min></s></cmd>
  <cmd id="12303" name="fan_only"><s><fan>on</fan></s></cmd>
  <cmd id="12304" name="freq_only"><s><big_cpu_min>1500000</big_cpu_min></s></cmd>
  <cmd id="100" name="io_boost"><s><duration>30</duration><io>1</io></s></cmd>
  <cmd id="101" name="top_app_up"><s><top_app>10</top_app></s></cmd>
  <cmd id="102" name="disabled"><s><duration>-1</duration></s></cmd>
  <cmd id="103" name="stepless"/>
)";
}

namespace {
std::vector<std::string> linesOf(bool anyOp, SimCall::Op op) {
    std::vector<std::string> lines;
    for (const SimCall& call : SimDevice::instance().record()) {
        if (anyOp || call.op == op) {
            lines.push_back(call.toString());
        }
    }
    return lines;
}
}  // namespace

std::vector<std::string> recordLines() {
    return linesOf(true, SimCall::Op::Initialize);
}

std::vector<std::string> recordLines(SimCall::Op op) {
    return linesOf(false, op);
}

TagValues::TagValues(const std::vector<std::pair<int, int>>& pairs) {
    for (const auto& pair : pairs) {
        tags.push_back(pair.first);
        values.push_back(pair.second);
    }
}

std::string dumpText(BriskServer& server, const std::vector<std::string>& args) {
    std::string text;
    std::string error;
    if (!DumpCapture::capture([&](int fd) { server.dumpBriskServerInfo(fd, args); }, &text,
                              &error)) {
        return "<" + error + ">";
    }
    return text;
}

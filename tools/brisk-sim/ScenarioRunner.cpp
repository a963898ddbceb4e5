#include "tools/brisk-sim/ScenarioRunner.h"

#include <chrono>
#include <thread>
#include <vector>

#include "platform/sim/SimDevice.h"
#include "tools/brisk-sim/DumpCapture.h"
#include "tools/brisk-sim/ScenarioParser.h"
#include "tools/brisk-sim/ScenarioTokenizer.h"

using Kind = ScenarioCommand::Kind;

ScenarioRunner::ScenarioRunner(TranscriptWriter& writer, SimServer& server, CommandNames names,
                               ScenarioObserver* observer)
    : mWriter(writer), mServer(server), mNames(std::move(names)), mObserver(observer) {}

bool ScenarioRunner::run(std::istream& in, std::string* error) {
    mLineNumber = 0;
    std::string line;
    while (std::getline(in, line)) {
        ++mLineNumber;
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        if (ScenarioTokenizer::isSkipped(line)) {
            continue;
        }
        std::vector<std::string> tokens;
        ScenarioCommand command;
        if (!ScenarioTokenizer::split(line, &tokens, error) ||
            !ScenarioParser::parse(tokens, &command, error, &mNames)) {
            return false;
        }
        mWriter.line("> " + line);
        if (mObserver != nullptr) {
            mObserver->stepBegins(mLineNumber, line, command);
        }
        const bool done = execute(command, error);
        if (mObserver != nullptr) {
            mObserver->stepEnds();
        }
        if (!done) {
            return false;
        }
    }
    return true;
}

bool ScenarioRunner::execute(const ScenarioCommand& command, std::string* error) {
    SimDevice& device = SimDevice::instance();
    switch (command.kind) {
        case Kind::Device:
            for (const auto& pair : command.pairs) {
                device.setValue(pair.first, pair.second);
            }
            return true;
        case Kind::Fail:
            device.failNext(command.failOp, command.failCode, command.failCount);
            return true;
        case Kind::Init:
            if (mServer.isBuilt()) {
                *error = "init has already built the service; a second init would leak it";
                return false;
            }
            mInitLine = mLineNumber;
            mInitResult = mServer.init();
            result(mInitResult);
            return true;
        case Kind::Event:
            runEvent(command);
            return true;
        case Kind::Set:
            runSet(command);
            return true;
        case Kind::Get:
            runGet(command);
            return true;
        case Kind::Dump:
            return runDump(command, error);
        case Kind::Sleep:
            std::this_thread::sleep_for(std::chrono::milliseconds(command.sleepMs));
            return true;
        case Kind::Version:
            result(mServer.briskGetVersion());
            return true;
    }
    return true;
}

void ScenarioRunner::runEvent(const ScenarioCommand& command) {
    std::vector<int> payload = command.values;
    if (!payload.empty() && command.len > payload.size()) {
        payload.resize(command.len, 0);
    }
    result(mServer.briskEvent(command.cmdId, command.msg.c_str(), command.len,
                              payload.empty() ? nullptr : payload.data()));
}

void ScenarioRunner::runSet(const ScenarioCommand& command) {
    std::vector<int> tags;
    std::vector<int> values;
    for (const auto& pair : command.pairs) {
        tags.push_back(pair.first);
        values.push_back(pair.second);
    }
    result(mServer.briskSetConfig(command.clientId, static_cast<int>(tags.size()), tags.data(),
                                  values.data()));
}

void ScenarioRunner::runGet(const ScenarioCommand& command) {
    std::vector<int> values(command.tags.size(), -1);
    int r = mServer.briskGetConfig(static_cast<int>(command.tags.size()), command.tags.data(),
                                   values.data());
    if (mObserver != nullptr) {
        mObserver->stepResult(r);
    }
    std::string text = "= " + std::to_string(r);
    // Only a successful read has values to show.
    if (r == 0) {
        for (size_t i = 0; i < command.tags.size(); ++i) {
            text += " " + std::to_string(command.tags[i]) + ":" + std::to_string(values[i]);
        }
    }
    mWriter.line(text);
}

bool ScenarioRunner::runDump(const ScenarioCommand& command, std::string* error) {
    if (command.dumpToInvalidFd) {
        mServer.dumpBriskServerInfo(-1, command.dumpArgs);
        return true;
    }
    std::string text;
    if (!DumpCapture::capture([&](int fd) { mServer.dumpBriskServerInfo(fd, command.dumpArgs); },
                              &text, error)) {
        return false;
    }
    for (const std::string& piece : DumpCapture::pieces(text)) {
        mWriter.line("| " + piece);
    }
    return true;
}

void ScenarioRunner::result(int r) {
    mWriter.line("= " + std::to_string(r));
    if (mObserver != nullptr) {
        mObserver->stepResult(r);
    }
}

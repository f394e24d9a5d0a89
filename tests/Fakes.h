#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <list>
#include <map>
#include <mutex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "CSfi.h"
#include "CommunicationsServiceEventIfc.h"
#include "Context.h"
#include "Executable.h"
#include "LMSEventObserverIfc.h"
#include "LocalMgmtIfc.h"
#include "LogSink.h"
#include "ManagementRecord.h"
#include "MediaControlServiceIfc.h"
#include "PhysicalInterfaceServiceIfc.h"
#include "RecordingEventLayer.h"
#include "SfiRecordingController.h"

using Lines = std::vector<std::string>;

/// What happened, in order, one line a call: "setDirection(12, 3)". Any thread adds.
class Journal {
public:
    template <typename... Arguments>
    void call(const std::string& name, const Arguments&... arguments)
    {
        const std::string line = written(name, arguments...);
        {
            const std::lock_guard<std::mutex> guard(m_lock);
            m_lines.push_back(line);
        }
        if (onCall) {
            onCall(name);
            EXPECT_EQ(written(name, arguments...), line) << "changed in the hands of the one that was called";
        }
    }

    /// What was added since the last take().
    Lines take()
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        return std::exchange(m_lines, {});
    }

    std::function<void(const std::string& name)> onCall;  // what the one that was called does then

private:
    template <typename... Arguments>
    static std::string written(const std::string& name, const Arguments&... arguments)
    {
        std::ostringstream line;
        [[maybe_unused]] const char* separator = "";
        line << name << "(";
        ((line << separator << arguments, separator = ", "), ...);
        line << ")";
        return line.str();
    }

    std::mutex m_lock;
    Lines m_lines;
};

/// Collects log lines as "LEVEL COMPONENT: text" while it lives; `level` is the highest one that is on.
class LogCapture : public runtime::LogSink {
public:
    explicit LogCapture(int level)
    {
        runtime::setLogLevel(level);
        runtime::setLogSink(this);
    }
    ~LogCapture() override
    {
        runtime::setLogSink(nullptr);
        runtime::setLogLevel(0);
    }

    void log(const char* component, const char* source, int level, int, const std::string& text) override
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        m_sources.push_back(source);
        m_lines.push_back(std::to_string(level) + " " + component + ": " + text);
    }

    Lines take()
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        return std::exchange(m_lines, {});
    }
    Lines sources()
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        return m_sources;
    }

private:
    std::mutex m_lock;
    Lines m_lines;
    Lines m_sources;
};

/// The outward interface of the recording core, written down.
struct FakeEventLayer : RecordingEventLayer {
    explicit FakeEventLayer(Journal& events) : journal(events) {}

    bool setDirection(int handle, MediaControlServiceIfc::MediaDirection direction) override
    {
        journal.call("setDirection", handle, static_cast<int>(direction));
        return directionAnswer;
    }
    void callRecordingStatus(const std::string& line, int callID, const std::string& status) override
    {
        journal.call("status", line, callID, status);
    }
    void updateCallRecordingFPKLamp() override
    {
        journal.call("lamp");
        if (onLamp) {
            onLamp();
        }
    }
    void callAttachSession(int mrsID, const std::string& address) override { journal.call("attach", mrsID, address); }
    void callDetachSession(int mrsID) override { journal.call("detach", mrsID); }
    void setCallRecMode(const std::string& mode) override { journal.call("mode", mode); }

    Journal& journal;
    bool directionAnswer = true;
    std::function<void()> onLamp;
};

struct FakeManagement : Executable, LocalMgmtIfc {
    explicit FakeManagement(Journal& events) : journal(events) {}

    int subscribeData(std::list<std::string>& tags, MgmtAgentIfc* subscriber) override
    {
        agent = subscriber;
        std::string all;
        for (const std::string& tag : tags) {
            all += tag + " ";
        }
        journal.call("subscribe", all);
        return 1;
    }
    int publishData(ManageableData& record) override
    {
        for (const auto& entry : runtime::ManagementRecord::entries(record)) {
            journal.call("publish", entry.id, entry.key, entry.value);
        }
        if (onPublish) {
            onPublish(record);
        }
        return accept ? 1 : 0;
    }

    Journal& journal;
    MgmtAgentIfc* agent = nullptr;
    bool accept = true;
    std::function<void(ManageableData&)> onPublish;
};

struct FakeMediaControl : Executable, MediaControlServiceIfc {
    explicit FakeMediaControl(Journal& events) : journal(events) {}
    bool setDirection(int handle, int stream, MediaDirection direction) override
    {
        if (beforeDirection) {
            beforeDirection();
        }
        journal.call("media", handle, stream, static_cast<int>(direction));
        return answer;
    }

    Journal& journal;
    std::function<void()> beforeDirection;
    bool answer = true;
};

struct FakeCommunications : Executable, CommunicationsServiceEventIfc {
    explicit FakeCommunications(Journal& events) : journal(events) {}
    void callRecordingStatus(const std::string& line, int callID, const std::string& status) override
    {
        journal.call("status", line, callID, status);
    }

    Journal& journal;
};

struct FakeKeys : Executable, PhysicalInterfaceServiceIfc {
    explicit FakeKeys(Journal& events) : journal(events) {}
    void setFPKLamp(PhysDefs::keyFunctionType key, PhysDefs::lampStateType state, int a, int b) override
    {
        if (beforeLamp) {
            beforeLamp();
        }
        lampOn = state == PhysDefs::LAMP_ON;
        journal.call("lamp", static_cast<int>(key), static_cast<int>(state), a, b);
    }

    Journal& journal;
    std::atomic<bool> lampOn{false};
    std::function<void()> beforeLamp;
};

struct FakeContext : Context {
    explicit FakeContext(Journal& events) : journal(events) {}
    Executable* getService(const std::string& name) override
    {
        journal.call("getService", name);
        const auto found = services.find(name);
        return found == services.end() ? nullptr : found->second;
    }

    Journal& journal;
    std::map<std::string, Executable*> services;
};

struct FakeCallControl : CSfi, SfiRecordingController {
    explicit FakeCallControl(Journal& events) : journal(events) {}
    void attachRecSession(int mrsID, const std::string& address) override
    {
        journal.call("attach", mrsID, address);
        if (onRequest) {
            onRequest();
        }
    }
    void detachRecSession(int mrsID) override
    {
        journal.call("detach", mrsID);
        if (onRequest) {
            onRequest();
        }
    }
    void registerLMSEventObserver(LMSEventObserverIfc* newObserver) override
    {
        journal.call("register");
        observer = newObserver;
    }
    SfiRecordingController* getSfiRecordingController() override { return hasRecordingController ? this : nullptr; }
    void setCallRecMode(std::string mode) override { journal.call("mode", mode); }

    Journal& journal;
    LMSEventObserverIfc* observer = nullptr;
    bool hasRecordingController = true;
    std::function<void()> onRequest;
};

#pragma once

#include <gmock/gmock.h>

#include <functional>
#include <list>
#include <map>
#include <mutex>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "CSfi.h"
#include "CallControl.h"
#include "CommunicationsServiceEventIfc.h"
#include "Context.h"
#include "Executable.h"
#include "LMSEventObserverIfc.h"
#include "LocalMgmtIfc.h"
#include "LogSink.h"
#include "ManagementRecord.h"
#include "MediaControlServiceIfc.h"
#include "MediaRecordingHelper.h"
#include "PhysicalInterfaceServiceIfc.h"
#include "RecordingConfigManager.h"
#include "RecordingEventLayer.h"
#include "Semaphore.h"
#include "SfiRecordingController.h"
#include "WorkerAccess.h"

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

    void log(const char* component, const char* source, int level, int line, const std::string& text) override
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        places.emplace(source, line);
        m_lines.push_back(std::to_string(level) + " " + component + ": " + text);
    }

    Lines take()
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        return std::exchange(m_lines, {});
    }

    std::set<std::pair<std::string, int>> places;  // source and line of everything logged

private:
    std::mutex m_lock;
    Lines m_lines;
};

struct Fake {
    explicit Fake(Journal& events) : journal(events) {}

    Journal& journal;
};

/// The outward interface of the recording core, written down.
struct FakeEventLayer : Fake, RecordingEventLayer {
    using Fake::Fake;
    bool setDirection(int handle, MediaControlServiceIfc::MediaDirection direction) override
    {
        journal.call("setDirection", handle, static_cast<int>(direction));
        return directionAnswer;
    }
    void callRecordingStatus(const std::string& line, int callID, const std::string& status) override
    {
        journal.call("status", line, callID, status);
    }
    void updateCallRecordingFPKLamp() override { journal.call("lamp"); }
    void callAttachSession(int mrsID, const std::string& address) override { journal.call("attach", mrsID, address); }
    void callDetachSession(int mrsID) override { journal.call("detach", mrsID); }
    void setCallRecMode(const std::string& mode) override { journal.call("mode", mode); }

    bool directionAnswer = true;
};

struct FakeManagement : Fake, Executable, LocalMgmtIfc {
    using Fake::Fake;
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
            const std::lock_guard<std::mutex> guard(toldLock);
            told[entry.key] = entry.value;
            if (entry.key == "call-recording-active") {
                const std::size_t end = entry.value.rfind(';');
                toldOfLine[entry.value.substr(0, end)] = entry.value.substr(end + 1);
            }
        }
        if (onPublish) {
            onPublish(record);
        }
        return accept ? 1 : 0;
    }

    MgmtAgentIfc* agent = nullptr;
    bool accept = true;
    std::function<void(ManageableData&)> onPublish;

    std::mutex toldLock;
    std::map<std::string, std::string> told;        // by tag, what was published last
    std::map<std::string, std::string> toldOfLine;  // by line, its activation: "true" or "false"
};

struct FakeMediaControl : Fake, Executable, MediaControlServiceIfc {
    using Fake::Fake;
    bool setDirection(int handle, int stream, MediaDirection direction) override
    {
        journal.call("media", handle, stream, static_cast<int>(direction));
        return answer;
    }

    bool answer = true;
};

struct FakeCommunications : Fake, Executable, CommunicationsServiceEventIfc {
    using Fake::Fake;
    void callRecordingStatus(const std::string& line, int callID, const std::string& status) override
    {
        journal.call("status", line, callID, status);
    }
};

struct FakeKeys : Fake, Executable, PhysicalInterfaceServiceIfc {
    using Fake::Fake;
    void setFPKLamp(PhysDefs::keyFunctionType key, PhysDefs::lampStateType state, int a, int b) override
    {
        journal.call("lamp", static_cast<int>(key), static_cast<int>(state), a, b);
        lampOn = state == PhysDefs::LAMP_ON;
    }

    bool lampOn = false;  // not guarded: the plug-in sets the lamp from one thread at a time
};

struct FakeContext : Fake, Context {
    using Services = std::map<std::string, Executable*>;
    explicit FakeContext(Journal& events, Services present = {}) : Fake(events), services(std::move(present)) {}
    Executable* getService(const std::string& name) override
    {
        journal.call("getService", name);
        if (onLookUp) {
            onLookUp(name);
        }
        const auto found = services.find(name);
        return found == services.end() ? nullptr : found->second;
    }

    Services services;
    std::function<void(const std::string& name)> onLookUp;
};

struct FakeCallControl : Fake, CSfi, SfiRecordingController {
    using Fake::Fake;
    void attachRecSession(int mrsID, const std::string& address) override { journal.call("attach", mrsID, address); }
    void detachRecSession(int mrsID) override { journal.call("detach", mrsID); }
    void registerLMSEventObserver(LMSEventObserverIfc* newObserver) override
    {
        journal.call("register");
        observer = newObserver;
    }
    SfiRecordingController* getSfiRecordingController() override
    {
        if (journal.onCall) {
            journal.onCall("getSfiRecordingController");
        }
        return hasRecordingController ? this : nullptr;
    }
    void setCallRecMode(std::string mode) override { journal.call("mode", mode); }

    LMSEventObserverIfc* observer = nullptr;
    bool hasRecordingController = true;
};

/// Who hears of sessions.
struct FakeObserver : Fake, LMSEventObserverIfc {
    using Fake::Fake;
    int LMSCreateSession(const std::string& lineURI, int callID) override
    {
        journal.call("create", lineURI, callID);
        return 4711;
    }
    void LMSDestroySession(int session) override { journal.call("destroy", session); }
    void LMSEventAttached(int session, int media, int call) override { journal.call("attached", session, media, call); }
    void LMSEventStreaming(int session, int media, int call) override
    {
        journal.call("streaming", session, media, call);
    }
    void LMSEventNotStreaming(int session) override { journal.call("not streaming", session); }
    void LMSEventErrorStatus(int session, LMSErrorCode code) override { journal.call("error", session, code); }
};

/// Makes a call wait until the test opens it.
struct Gate {
    void enter()
    {
        entered.give();
        opened.take(-1);
    }
    Semaphore entered{0, 1, false}, opened{0, 1, false};
};

/// Everything around the plug-in, with one journal. The plug-in's look-ups and its worker begin anew with it.
struct FakeTelephone {
    FakeTelephone()
    {
        forgetWorker();
        MediaRecordingHelper::reset();
        runtime::setCallControl(&callControl);
    }
    ~FakeTelephone()
    {
        runtime::setCallControl(nullptr);
        MediaRecordingHelper::reset();
    }

    Journal journal;
    FakeManagement management{journal};
    FakeKeys keys{journal};
    FakeMediaControl mediaControl{journal};
    FakeCommunications communications{journal};
    FakeCallControl callControl{journal};
    FakeContext context{journal,
                        {{"LocalMgmtIfc", &management},
                         {"PhysicalInterfaceServiceIfc", &keys},
                         {"MediaControlServiceIfc", &mediaControl},
                         {"CommunicationsServiceEventIfc", &communications}}};
};

/// The management system was last told what the store holds, of each item and of each line.
inline void expectTold(FakeManagement& management, RecordingConfigManager& store)
{
    runtime::ManagementRecord present;
    for (const auto& told : management.told) {
        present.name(told.first);
    }
    EXPECT_TRUE(store.getData(present));
    for (const auto& item : runtime::ManagementRecord::entries(present)) {
        EXPECT_EQ(management.told[item.id], item.value) << item.id;
    }
    for (const auto& [line, told] : management.toldOfLine) {
        EXPECT_EQ(told == "true", store.getRecordingActivation(line)) << line;
    }
}

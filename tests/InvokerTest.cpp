#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "Fakes.h"
#include "InvokerResponse.h"
#include "MediaRecordingServiceIfc.h"
#include "MediaRecordingServiceInvoker.h"

using testing::ElementsAre;

namespace {

/// The service's executable and the answer to one message, written into one journal.
struct Exchange : Executable, MediaRecordingServiceIfc, InvokerResponse {
    void activateRecording(const std::string& lineURI) override { journal.call("activate", lineURI); }
    void deactivateRecording(const std::string& lineURI) override { journal.call("deactivate", lineURI); }
    void setResponseText(const char* text, int length) override
    {
        InvokerResponse::setResponseText(text, length);
        journal.call("reply", m_text, length);
    }
    void finish() override { journal.call("finish"); }

    Lines handled(const char* message, Executable* executable)
    {
        const std::unique_ptr<Invoker> invoker(createMediaRecordingServiceInvoker());
        invoker->initInvoker(nullptr);
        invoker->handleMessage(executable, message, 3, this);
        return journal.take();
    }
    Lines handled(const char* message) { return handled(message, this); }

    Journal journal;
};

TEST(MediaRecordingServiceInvoker, ActsThenAnswersWithAFixedText)
{
    Exchange exchange;
    EXPECT_THAT(exchange.handled("activateRecording:5:sip:1"),
                ElementsAre("activate(sip:1)", "reply(activateRecordingReturn:, 24)", "finish()"));
    EXPECT_THAT(exchange.handled("activateRecording:12:sip:a:b@c:99"),
                ElementsAre("activate(sip:a:b@c:99)", "reply(activateRecordingReturn:, 24)", "finish()"));
    EXPECT_THAT(exchange.handled("deactivateRecording:5:sip:1"),
                ElementsAre("deactivate(sip:1)", "reply(deactivateRecordingReturn:, 26)", "finish()"));
    for (const char* undecodable : {"deactivateRecording:", "deactivateRecording:sip:1"}) {
        EXPECT_THAT(exchange.handled(undecodable),
                    ElementsAre("deactivate()", "reply(deactivateRecordingReturn:, 26)", "finish()"));
    }
}

TEST(MediaRecordingServiceInvoker, AnswersWhatItDoesNotKnowAndDoesNothing)
{
    Exchange exchange;
    LogCapture log(3);
    for (const char* message :
         {"activateRecording", "", ":", ":5:sip:1", "activate:5:sip:1", "ActivateRecording:5:sip:1",
          "activateRecording :5:sip:1", "deactivateRecordingNow:5:sip:1", "5:activateRecording:"}) {
        EXPECT_THAT(exchange.handled(message), ElementsAre("reply(Invalid message received, 24)", "finish()"));
    }
    EXPECT_THAT(log.take(), ElementsAre());
}

TEST(MediaRecordingServiceInvoker, MissesTheServiceBeforeItLooksAtTheMessage)
{
    Exchange exchange;
    LogCapture log(4);
    Executable other;
    for (Executable* executable : {static_cast<Executable*>(nullptr), &other}) {
        EXPECT_THAT(exchange.handled("nonsense", executable),
                    ElementsAre("reply(MediaRecordingServiceIfc not found, 34)", "finish()"));
        EXPECT_THAT(log.take(), ElementsAre("4 MediaRecordingServiceInvoker: handleMessage: nonsense\n",
                                            "2 MediaRecordingServiceInvoker: MediaRecordingServiceInvoker - couldn't "
                                            "find MediaRecordingServiceIfc"));
    }
    EXPECT_THAT(log.sources(), testing::Each("./src/MediaRecordingServiceInvoker"));
}

}  // namespace

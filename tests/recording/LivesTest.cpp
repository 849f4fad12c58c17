#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "protocol/ServiceFramework.h"
#include "recording/Lives.h"
#include "recording/Writer.h"

// Which of what was recorded belongs to which life of the service.

namespace recording {
namespace {

// A recording of words: "B1" bound, "S1" its listener set, "D1" the listener removed, "R1" another
// file that repeats what is bound and set, "q1" a request of binding 1, "a" its reply or "n" that
// none came, "e1x" the event x for listener 1, "L1" its loss, "P" another process.
Timeline timelineOf(const std::string& words) {
    Writer writer;
    uint32_t process = 1;
    writer.begin({process, 0, 0, "app"}, 0, 0);
    std::istringstream input(words);
    for (std::string word; input >> word;) {
        Record record;
        const uint32_t number =
            word.size() > 1 ? static_cast<uint32_t>(std::stoul(word.substr(1, 1))) : 0;
        record.header.binding = number;
        const std::string content = word[0] == 'L' ? std::string("\2\0\0\0", 4)
                                                   : word.substr(std::min<size_t>(2, word.size()));
        const auto add = [&](FrameKind kind, uint32_t sequence = 0) {
            record.frame.kind = kind;
            record.frame.sequence = sequence;
            record.frame.type = kind == FrameKind::kStatus ? -1 : 131;
            record.frame.length = static_cast<uint32_t>(content.size());
            record.content = reinterpret_cast<const uint8_t*>(content.data());
            record.size = content.size();
            writer.add(record);
        };
        switch (word[0]) {
            case 'P':
                writer.begin({++process, 0, 0, "app"}, 0, 0);
                break;
            case 'R':
                writer.begin({process, 1, 0, "app"}, 0, 0);
                add(FrameKind::kBound);
                record.header.listener = number;
                add(FrameKind::kListenerSet);
                break;
            case 'B':
                add(FrameKind::kBound);
                break;
            case 'D':
                record.header.listener = number;
                add(FrameKind::kListenerRemoved);
                break;
            case 'q':
                add(FrameKind::kRequest, number);
                break;
            case 'a':
                add(FrameKind::kReply, number);
                break;
            case 'n':
                add(FrameKind::kNoReply, number);
                break;
            default:
                record.header.listener = number;
                add(word[0] == 'S'   ? FrameKind::kListenerSet
                    : word[0] == 'L' ? FrameKind::kStatus
                                     : FrameKind::kNotify);
        }
    }
    std::stringstream file(std::string(writer.bytes().begin(), writer.bytes().end()));
    return Timeline(file);
}

// Each life with the bindings of its requests, "!" behind those that were not answered, the events,
// and "lost" with the bindings of those that came after the loss.
std::string livesIn(const std::string& words) {
    const Timeline timeline = timelineOf(words);
    std::string text;
    for (const Life& life : livesOf(timeline)) {
        text += "[";
        for (const size_t place : life.requests) {
            text += std::to_string(timeline.entries()[place].header.binding);
            text += life.answers(timeline, place) ? "" : "!";
        }
        text += " ";
        for (const size_t place : life.events) {
            const Record record = timeline.record(timeline.entries()[place]);
            text.append(reinterpret_cast<const char*>(record.content), record.size);
        }
        text += life.loss ? " lost" : "";
        for (const size_t place : life.late)
            text += std::to_string(timeline.entries()[place].header.binding);
        text += "]";
    }
    return text;
}

TEST(LivesTest, whatWasRecordedBelongsToALifeOfTheService) {
    const struct {
        const char* words;
        const char* lives;
    } kRows[] = {
        {"", ""},
        {"B1 S1 q1 a1 e1x", "[1 x]"},
        {"B1 S1 q1 a1 L1 B2 q2 a2", "[1  lost][2 ]"},
        // An event comes once to each listener; a second equal one is another.
        {"B1 S1 B2 S2 e1x e2x e2x e1x e1y", "[ xxy]"},
        // A listener that was set later has not had what was before, or what another file repeats.
        {"B1 S1 e1x B2 S2 e1x e2x", "[ xx]"},
        {"B1 S1 B2 S2 e1x R2 e2x", "[ x]"},
        // The answer and the event were on their way to other threads when the service was lost.
        {"B1 S1 B2 S2 q2 L1 a2 e2x B3 q3 a3 e2y L2", "[2 xy lost][3 ]"},
        {"B1 S1 q1 L1 n1 q1 n1", "[1!  lost1]"},
        {"B1 q1 n1", "[1 ]"},
        {"B1 q1", "[1! ]"},
        // Each listener is told of the loss, the last when the next life has begun. The old binding
        // is asked in vain.
        {"B1 S1 B2 S2 q1 a1 L1 B3 S3 q2 n2 q3 a3 L2 q3 a3", "[1  lost2][33 ]"},
        // It was reached again when it was about to be gone.
        {"B1 S1 q1 a1 L1 B2 S2 L2 q2 n2 B3 q3 a3", "[1  lost2][3 ]"},
        {"B1 S1 q1 a1 L1 B2 S2 q2 L2 n2 B3 q3 a3", "[1  lost][2!  lost][3 ]"},
        // It was bound to anew before the thread that was told of the loss had a record of it.
        {"B1 S1 q1 a1 B2 S2 q2 a2 e2x L1 q1 n1 q2 a2 B3 q3 a3", "[1  lost1][223 x]"},
        {"B1 S1 q1 a1 B2 S2 q2 a2 L1 L2 B3 q3 a3 P B1 q1 a1 B2 q2 a2", "[12  lost][3 ][12 ]"},
        // A record of the binding was lost in a gap.
        {"q1 a1 e2x", "[1 x]"},
        {"B1 q1 a1 P B1 q1 a1", "[1 ][1 ]"},
    };
    for (const auto& row : kRows)
        EXPECT_EQ(livesIn(row.words), row.lives) << row.words;
}

TEST(LivesTest, aBindingOpensAChannelWhenItHasNoListener) {
    const auto lives = livesOf(timelineOf("B1 S1 D1 S1 S1 R1 q1 a1 L1 D1 S1 B2 S2 q2 a2"));
    ASSERT_EQ(lives.size(), 2U);
    EXPECT_EQ(lives[0].channels.size(), 2U);
    EXPECT_EQ(lives[1].channels.size(), 1U);
}

TEST(LivesTest, anAnswerWithAnyResultButZeroIsAFailure) {
    for (const char result : {'\0', '\1', '\2'}) {
        std::string content(8, '\0');
        content[0] = result;
        const Timeline timeline = timelineOf("B1 q1 a1" + content);
        const size_t request = timeline.entries().size() - 2;
        EXPECT_EQ(timeline.failed(timeline.entries()[request]), result != 0) << int{result};
    }
}

}  // namespace
}  // namespace recording

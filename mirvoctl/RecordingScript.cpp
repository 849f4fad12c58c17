#include <algorithm>
#include <map>
#include <set>
#include <string_view>

#include "mirvoctl/Recordings.h"
#include "protocol/MVServiceMessages.h"
#include "recording/Comparison.h"
#include "recording/Lives.h"

namespace mirvoctl {
namespace {

using accessory::FrameKind;
using accessory::MVServiceReply;
using recording::Decoded;
using recording::Life;
using recording::Timeline;

constexpr uint64_t kMillisecond = 1'000'000;
// A pause that is shorter is left out.
constexpr uint64_t kLeastPause = 5 * kMillisecond;
// What `expect` waits by itself.
constexpr uint64_t kPatience = 5000;
// Stands in JSON for bytes that are not UTF-8.
constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

std::string targetOf(const Decoded& request) {
    return request.name + (request.accessory ? "@" + std::to_string(*request.accessory) : "");
}

// Equal lines behind one another, with a loop around them.
std::string folded(const std::vector<std::string>& lines) {
    std::string text;
    for (size_t i = 0, next = 0; i < lines.size(); i = next) {
        while (next < lines.size() && lines[next] == lines[i])
            ++next;
        const size_t count = next - i;
        text += count == 1 ? lines[i] + "\n"
                           : "repeat " + std::to_string(count) + "\n  " + lines[i] + "\nend\n";
    }
    return text;
}

// Writes the script of one life.
class Scripter {
public:
    Scripter(const Timeline& timeline, const Life& life)
        : mTimeline(timeline), mEntries(timeline.entries()), mLife(life) {
        findWorld();
    }

    std::string text() {
        std::string flow = flowOf();
        return mWorldLines + rules() + "\n" + flow;
    }

private:
    void findWorld();
    std::string rules() const;
    std::string flowOf();
    void addRequest(size_t place);
    void addEvent(size_t place);
    void pause(uint64_t time);
    // The command for the answer to a request, and whether it is what the emulator does by itself.
    std::pair<std::string, bool> answerTo(const Decoded& request, size_t place) const;
    std::string ids() const {
        std::string line = "ids";
        for (const uint32_t id : mIds)
            line += " " + std::to_string(id);
        return line;
    }

    const Timeline& mTimeline;
    const std::vector<Timeline::Entry>& mEntries;
    const Life& mLife;
    std::string mWorldLines;
    // While the flow is written: what the emulator knows, and what it was asked for.
    std::vector<uint32_t> mIds;
    std::map<uint32_t, size_t> mInquiries;
    struct Answers {
        std::vector<std::string> commands;
        bool normal = true;
    };
    std::map<std::string, Answers> mAnswers;
    std::vector<std::string> mFlow;
    uint64_t mTime = 0;
};

// The accessories that the service knew at first are those that it listed or gave an instance of
// before they came. Its version and its descriptor are the first that it told.
void Scripter::findWorld() {
    std::set<uint32_t> come;
    std::vector<std::pair<size_t, bool>> all;  // places of requests, and of events
    for (const size_t place : mLife.requests)
        all.emplace_back(place, true);
    for (const size_t place : mLife.events)
        all.emplace_back(place, false);
    std::sort(all.begin(), all.end());
    const auto know = [&](uint32_t id) {
        const bool known = std::find(mIds.begin(), mIds.end(), id) != mIds.end();
        if (!known && come.count(id) == 0) mIds.push_back(id);
    };
    std::string version;
    std::string descriptor;
    for (const auto& [place, isRequest] : all) {
        const Decoded decoded = mTimeline.decode(mEntries[place]);
        if (!isRequest) {
            if (decoded.name == "attach" && decoded.accessory) come.insert(*decoded.accessory);
            continue;
        }
        const Json answer = mTimeline.answerTo(mEntries[place]).value_or(Json::object());
        if (answer.contains("ids")) {
            for (const auto& id : answer["ids"])
                know(id.get<uint32_t>());
        } else if (answer.contains("version") && version.empty()) {
            version = "version " + answer["version"].get<std::string>() + "\n";
        } else if (decoded.name == "getHidDescriptor" && answer.value("result", 1) == 0 &&
                   descriptor.empty()) {
            descriptor = "descriptor-bytes " + answer.value("bytes", std::string()) + "\n";
        } else if (decoded.accessory && answer.value("result", 1) == 0) {
            know(*decoded.accessory);
        }
    }
    mWorldLines = version + descriptor + ids() + "\n";
}

std::pair<std::string, bool> Scripter::answerTo(const Decoded& request, size_t place) const {
    const std::string target = targetOf(request);
    const Json answer = mTimeline.answerTo(mEntries[place]).value_or(Json{{"noReply", true}});
    if (answer.contains("noReply")) return {"no-reply " + target, false};
    const int32_t type = mEntries[*mEntries[place].other].frame.type;
    if (type == MVServiceReply::VERSION || type == MVServiceReply::ACCESSORY_IDS) {
        return {"normal " + target, !answer.contains("class")};
    }
    const bool known =
        !request.accessory || std::find(mIds.begin(), mIds.end(), *request.accessory) != mIds.end();
    const int32_t result = answer.value("result", 0);
    const std::string bytes = answer.value("bytes", std::string());
    if (type == MVServiceReply::RAW_DATA && result == 0) {
        const bool own = request.name == "getHidDescriptor";
        return {"answer " + target + " bytes " + bytes, own || (known && bytes.empty())};
    }
    const bool normal = result == (known ? 0 : 2) && !answer.contains("class");
    return {"answer " + target + " " + std::to_string(result), normal};
}

// What the emulator answers otherwise than by itself. It is set at the beginning, since a request
// may come before a line behind the one that it followed has run.
std::string Scripter::rules() const {
    std::string text;
    for (const auto& [target, answers] : mAnswers) {
        if (answers.normal) continue;
        const auto& commands = answers.commands;
        const bool always = std::count(commands.begin(), commands.end(), commands.front()) ==
                            static_cast<ptrdiff_t>(commands.size());
        std::vector<std::string> lines;
        lines.reserve(commands.size());
        for (const std::string& command : commands)
            lines.push_back("once " + command);
        text += always ? commands.front() + "\n" : folded(lines);
    }
    return text;
}

std::string Scripter::flowOf() {
    // An event that came while a request was under way stands behind that: it may be its effect.
    std::vector<size_t> requests;
    for (const size_t place : mLife.requests) {
        if (mLife.answers(mTimeline, place)) requests.push_back(place);
    }
    mTime = mTimeline.since(mEntries[mLife.begin]);
    auto request = requests.begin();
    for (const size_t event : mLife.events) {
        for (; request != requests.end() && *request < event; ++request)
            addRequest(*request);
        addEvent(event);
    }
    for (; request != requests.end(); ++request)
        addRequest(*request);
    if (mLife.loss) mFlow.emplace_back("die");
    return folded(mFlow);
}

void Scripter::addRequest(size_t place) {
    const Decoded request = mTimeline.decode(mEntries[place]);
    const auto [command, normal] = answerTo(request, place);
    Answers& answers = mAnswers[targetOf(request)];
    answers.commands.push_back(command);
    answers.normal = answers.normal && normal;

    const Json said = mTimeline.answerTo(mEntries[place]).value_or(Json::object());
    if (said.contains("ids") && said["ids"] != Json(mIds)) {
        mIds = said["ids"].get<std::vector<uint32_t>>();
        mFlow.push_back(ids());
    }
    if (request.name == "sendTimeDateInquiry" && said.value("result", 1) == 0)
        ++mInquiries[*request.accessory];

    std::string line = "expect " + targetOf(request);
    const Decoded compared = recording::Comparison({})(request);
    for (const auto& [name, value] : compared.arguments.items()) {
        // These have no form in a script.
        const std::string shown = tool::dump(value);
        const bool isText = shown.find(kReplacement) == std::string::npos;
        if (isText && shown.find_first_of("\\#") == std::string::npos)
            line.append(" ").append(name).append("=").append(shown);
    }
    const uint64_t time = mTimeline.since(mEntries[*mEntries[place].other]);
    const uint64_t passed = (time - std::min(time, mTime)) / kMillisecond;
    if (passed > kPatience / 2) line += " within " + std::to_string(passed + kPatience);
    mFlow.push_back(line);
    mTime = std::max(mTime, time);
}

void Scripter::addEvent(size_t place) {
    const Decoded event = mTimeline.decode(mEntries[place]);
    pause(mTimeline.since(mEntries[place]));
    std::string command = commandOf(event);
    size_t& inquiries = mInquiries[event.accessory.value_or(0)];
    if (event.usage == nullptr) {
        command = "# no command sends this: " + command;
    } else if (event.name == "time-date" && inquiries > 0) {
        --inquiries;
        command = "# the emulator sends this by itself: " + command;
    } else if (event.name == "attach") {
        if (std::find(mIds.begin(), mIds.end(), *event.accessory) == mIds.end())
            mIds.push_back(*event.accessory);
    } else if (event.name == "detach") {
        mIds.erase(std::remove(mIds.begin(), mIds.end(), *event.accessory), mIds.end());
    }
    mFlow.push_back(command);
}

void Scripter::pause(uint64_t time) {
    if (time > mTime + kLeastPause) {
        mFlow.push_back("wait " + std::to_string((time - mTime) / kMillisecond));
    }
    mTime = std::max(mTime, time);
}

}  // namespace

Outcome makeScript(Context&, Arguments& arguments) {
    const RecordingOptions& options = arguments.recording;
    const Timeline timeline = load(options.file);
    const std::string why = timeline.whyNotReplayable();
    if (!why.empty()) throw Failure(kBadCommand, "no script can be made of it: " + why);
    const std::vector<Life> lives = recording::livesOf(timeline);
    if (options.life == 0 || options.life > lives.size()) {
        throw Failure(kBadCommand, "the recording has " + std::to_string(lives.size()) +
                                       " lives of a service: --life is " +
                                       std::to_string(options.life));
    }
    recording::Beginning beginning;
    readBeginning(timeline.record(timeline.entries().front()), beginning);
    Outcome outcome;
    outcome.text = "# A recording of " + beginning.program;
    if (lives.size() > 1) {
        outcome.text += ": life " + std::to_string(options.life) + " of " +
                        std::to_string(lives.size()) + " of the service";
    }
    outcome.text += ".\n";
    outcome.text += Scripter(timeline, lives[options.life - 1]).text();
    outcome.data = {{"text", outcome.text}};
    return outcome;
}

}  // namespace mirvoctl

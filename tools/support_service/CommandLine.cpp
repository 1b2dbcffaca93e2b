#include "CommandLine.h"

#include <charconv>
#include <functional>
#include <getopt.h>
#include <limits>
#include <map>

namespace support_service {

const char *const usage =
    "Usage: support_service [OPTION...]\n"
    "Receives uploads over HTTPS on 127.0.0.1, keeps them and prints a receipt for each.\n\n"
    "  --port NUMBER             the port to listen on; 0 takes a free one (0)\n"
    "  --store FOLDER            where archives are kept (a temporary folder)\n"
    "  --certificate-file PATH   where the certificate to trust is written (a temporary file)\n"
    "  --ready-file PATH         written with the port as soon as it listens\n\n"
    "How it behaves:\n"
    "  --count NUMBER            as follows for so many requests only, well afterwards\n"
    "  --status NUMBER           answers with this status (200)\n"
    "  --body TEXT               and this body (Received.)\n"
    "  --header 'NAME: VALUE'    and this header; can be repeated\n"
    "  --location URL            and this address, as redirects do\n"
    "  --any-request             answers every path and method so, not uploads alone\n"
    "  --wait SECONDS            waits before it answers\n"
    "  --never-answer            never answers\n"
    "  --answer-early WHAT       answers before the body was read, and then: read, close\n"
    "  --ending HOW              whole, reset-after-status-line, reset-after-headers, reset-in-body,\n"
    "                            close-in-body, hang-after-headers, endless-headers, endless-body, trickle\n"
    "  --trickle-interval MILLISECONDS  between the bytes of a trickle (50)\n"
    "  --read-rate BYTES         reads no more bytes per second\n"
    "  --stop-reading-after BYTES  reads no more of a body\n"
    "  --reset-after BYTES       resets the connection after so much of a body\n"
    "  --certificate KIND        good, wrong-host, expired, not-yet-valid, untrusted\n"
    "  --handshake HOW           complete, refuse, hang\n"
    "  --help                    prints this\n";

namespace {

std::uint64_t number(const std::string &option, const std::string &text, std::uint64_t most) {
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || value > most)
        throw UsageError("--" + option + " takes a whole number up to " + std::to_string(most) + ", not \"" +
                         text + "\"");
    return value;
}

template <typename Value>
Value choice(const std::string &option, const std::string &text,
             const std::map<std::string, Value> &choices) {
    const auto found = choices.find(text);
    if (found == choices.end())
        throw UsageError("--" + option + " does not know \"" + text + "\"");
    return found->second;
}

std::pair<std::string, std::string> header(const std::string &text) {
    const std::size_t colon = text.find(": ");
    if (colon == 0 || colon == std::string::npos)
        throw UsageError("--header takes 'NAME: VALUE', not \"" + text + "\"");
    return {text.substr(0, colon), text.substr(colon + 2)};
}

const std::map<std::string, AnswerEnding> endings = {
    {"whole", AnswerEnding::whole},
    {"reset-after-status-line", AnswerEnding::resetAfterStatusLine},
    {"reset-after-headers", AnswerEnding::resetAfterHeaders},
    {"reset-in-body", AnswerEnding::resetInBody},
    {"close-in-body", AnswerEnding::closeInBody},
    {"hang-after-headers", AnswerEnding::hangAfterHeaders},
    {"endless-headers", AnswerEnding::endlessHeaders},
    {"endless-body", AnswerEnding::endlessBody},
    {"trickle", AnswerEnding::trickle},
};
const std::map<std::string, CertificateKind> certificates = {
    {"good", CertificateKind::good},           {"wrong-host", CertificateKind::wrongHost},
    {"expired", CertificateKind::expired},     {"not-yet-valid", CertificateKind::notYetValid},
    {"untrusted", CertificateKind::untrusted},
};
const std::map<std::string, Handshake> handshakes = {
    {"complete", Handshake::complete}, {"refuse", Handshake::refuse}, {"hang", Handshake::hang}};
const std::map<std::string, AnswerTime> early = {{"read", AnswerTime::beforeBodyThenRead},
                                                 {"close", AnswerTime::beforeBodyThenClose}};

struct OptionRule {
    bool takesValue;
    std::function<void(CommandLine &, const std::string &value)> apply;
};

constexpr std::uint64_t anyNumber = std::numeric_limits<std::int64_t>::max();
constexpr std::uint64_t dayMilliseconds = 86'400'000;

const std::map<std::string, OptionRule> rules = {
    {"port",
     {true,
      [](auto &line, auto &value) { line.service.port = static_cast<int>(number("port", value, 65535)); }}},
    {"store", {true, [](auto &line, auto &value) { line.service.store = value; }}},
    {"certificate-file", {true, [](auto &line, auto &value) { line.service.certificateFile = value; }}},
    {"ready-file", {true, [](auto &line, auto &value) { line.readyFile = value; }}},
    {"count",
     {true, [](auto &line, auto &value) { line.behaviourCount = number("count", value, 1'000'000); }}},
    {"status",
     {true, [](auto &line,
               auto &value) { line.behaviour.status = static_cast<int>(number("status", value, 999)); }}},
    {"body", {true, [](auto &line, auto &value) { line.behaviour.body = value; }}},
    {"header", {true, [](auto &line, auto &value) { line.behaviour.headers.push_back(header(value)); }}},
    {"location", {true, [](auto &line, auto &value) { line.behaviour.location = value; }}},
    {"any-request", {false, [](auto &line, auto &) { line.behaviour.anyRequest = true; }}},
    {"wait",
     {true,
      [](auto &line, auto &value) {
          line.behaviour.waitBeforeAnswer = std::chrono::seconds(number("wait", value, 86'400));
      }}},
    {"never-answer", {false, [](auto &line, auto &) { line.behaviour.neverAnswer = true; }}},
    {"answer-early",
     {true,
      [](auto &line, auto &value) { line.behaviour.answerTime = choice("answer-early", value, early); }}},
    {"ending",
     {true, [](auto &line, auto &value) { line.behaviour.ending = choice("ending", value, endings); }}},
    {"trickle-interval",
     {true,
      [](auto &line, auto &value) {
          line.behaviour.trickleInterval =
              std::chrono::milliseconds(number("trickle-interval", value, dayMilliseconds));
      }}},
    {"read-rate",
     {true, [](auto &line,
               auto &value) { line.behaviour.readBytesPerSecond = number("read-rate", value, anyNumber); }}},
    {"stop-reading-after",
     {true,
      [](auto &line, auto &value) {
          line.behaviour.stopReadingAfterBytes = number("stop-reading-after", value, anyNumber);
      }}},
    {"reset-after",
     {true, [](auto &line,
               auto &value) { line.behaviour.resetAfterBytes = number("reset-after", value, anyNumber); }}},
    {"certificate",
     {true, [](auto &line, auto &value) { line.certificate = choice("certificate", value, certificates); }}},
    {"handshake",
     {true, [](auto &line, auto &value) { line.handshake = choice("handshake", value, handshakes); }}},
    {"help", {false, [](auto &line, auto &) { line.help = true; }}},
};

} // namespace

CommandLine parseCommandLine(int count, char **arguments) {
    std::vector<option> options;
    options.reserve(rules.size() + 1);
    for (const auto &[name, rule] : rules)
        options.push_back({name.c_str(), rule.takesValue ? required_argument : no_argument, nullptr, 0});
    options.push_back({nullptr, 0, nullptr, 0});

    opterr = 0;
    CommandLine line;
    int index = 0;
    for (int found = 0; (found = getopt_long(count, arguments, ":", options.data(), &index)) != -1;) {
        if (found == ':')
            throw UsageError(std::string(arguments[optind - 1]) + " needs a value");
        if (found != 0)
            throw UsageError(std::string("unknown option ") + arguments[optind - 1]);
        const std::string name = options[static_cast<std::size_t>(index)].name;
        rules.at(name).apply(line, optarg == nullptr ? "" : optarg);
    }
    if (optind < count)
        throw UsageError(std::string("unexpected argument ") + arguments[optind]);
    if (line.behaviour.status < 200)
        throw UsageError("--status takes a number from 200 on");
    return line;
}

} // namespace support_service

// fus-tool checksum: whether files hold what their checksums say, and are in form; fresh checksums.

#include "Commands.h"
#include "Errors.h"
#include "JsonWriter.h"
#include "LibraryLog.h"
#include "Text.h"
#include "WholeFile.h"

#include "fus/Checksum.h"

#include <algorithm>
#include <exception>
#include <filesystem>
#include <new>
#include <optional>
#include <string_view>

namespace fus::tool {

namespace {

/// What a value of the library is called: on the command line and by programs, and in words.
struct FormatRow {
    Checksum::FileFormat value;
    const char* name;
    const char* words;
};
constexpr FormatRow FORMATS[] = {
    {Checksum::FORMAT_NONE, "none", "nowhere"},
    {Checksum::FORMAT_HEADER, "header", "before the first section"},
    {Checksum::FORMAT_FILE_SECTION, "file", "in the section [File]"},
};

struct EOLRow {
    Checksum::EOLType value;
    const char* name;
    const char* words;
};
constexpr EOLRow EOLS[] = {
    {Checksum::EOL_UNKNOWN, "unknown", "none"},
    {Checksum::EOL_LINUX, "linux", "of Linux (line feed)"},
    {Checksum::EOL_MAC, "mac", "of Mac (carriage return)"},
    {Checksum::EOL_DOS, "dos", "of DOS (carriage return, line feed)"},
};

struct ProblemRow {
    Checksum::ValidationProblem value;
    const char* name;
    const char* words;
};
constexpr ProblemRow PROBLEMS[] = {
    {Checksum::VALIDATION_OK, "VALIDATION_OK", "in form"},
    {Checksum::VALIDATION_NO_DATA, "VALIDATION_NO_DATA",
     "there is nothing that a checksum covers, or no checksum"},
    {Checksum::VALIDATION_INCONSISTENT_EOL, "VALIDATION_INCONSISTENT_EOL",
     "a line end differs from the first one"},
    {Checksum::VALIDATION_WRONG_EOL, "VALIDATION_WRONG_EOL", "has other line ends than asked for"},
    {Checksum::VALIDATION_NO_FINAL_EOL, "VALIDATION_NO_FINAL_EOL", "the last line has no line end"},
    {Checksum::VALIDATION_RESERVED, "VALIDATION_RESERVED", "an unknown problem"},
    {Checksum::VALIDATION_BAD_FORMAT, "VALIDATION_BAD_FORMAT",
     "the checksum doesn't have 40 characters"},
    {Checksum::VALIDATION_MANY_CHECKSUMS, "VALIDATION_MANY_CHECKSUMS",
     "there is more than one checksum"},
    {Checksum::VALIDATION_HASH_FAILED, "VALIDATION_HASH_FAILED",
     "the checksum could not be computed"},
    {Checksum::VALIDATION_EXCEPTION, "VALIDATION_EXCEPTION", "the check broke off"},
};

/// What the options ask for. The first row of a table stands for "any".
struct Request {
    bool anyFormat;
    bool force;
    Checksum::FileFormat format;
    Checksum::EOLType eol;
};

/// What became of one file.
struct Outcome {
    std::string file;
    bool good = false;
    /// Read, but not judged or written: an error rather than a no.
    bool failed = false;
    bool written = false;
    std::string text; ///< begins with the file's name
    /// Not before it was read.
    std::optional<Checksum::ValidationProblem> problem;
    Checksum::FileFormat format = Checksum::FORMAT_NONE;
    Checksum::EOLType eol = Checksum::EOL_UNKNOWN;
    std::string extracted;
    std::string computed;

    void say(const std::string& words) { text = printable(file) + ": " + words; }
};

std::string_view bytesOf(const Message& message) {
    return message.size() == 0 ? std::string_view()
                               : std::string_view(message.c_str(), message.size());
}

void load(Checksum& checksum, const std::string& bytes) {
    checksum.loadData(bytes.data(), bytes.size());
}

void compute(Checksum& checksum, bool strict, Outcome& outcome) {
    LibraryLog::forget();
    outcome.problem = checksum.compute(strict);
    outcome.format = checksum.getFileFormat();
    outcome.eol = checksum.getEOLType();
    outcome.extracted = bytesOf(checksum.getExtractedChecksum());
    outcome.computed = bytesOf(checksum.getComputedChecksum());
}

/// The problem in words, and in the library's own if it has any.
std::string wordsOf(Checksum::ValidationProblem problem) {
    std::string words = PROBLEMS[problem].words;
    if (!LibraryLog::errors().empty()) {
        words += " (" + printable(LibraryLog::reason()) + ")";
    }
    return words;
}

void computeOrFail(Checksum& checksum, Outcome& outcome) {
    compute(checksum, false, outcome);
    if (outcome.problem != Checksum::VALIDATION_OK) {
        throw ToolError(printable(outcome.file) + ": " + wordsOf(*outcome.problem));
    }
}

// --- verify --------------------------------------------------------------------------------------

std::string verdict(const Outcome& outcome, bool right) {
    const std::string where = FORMATS[outcome.format].words;
    if (outcome.format == Checksum::FORMAT_NONE) {
        return "there is no checksum; the content has " + outcome.computed;
    }
    if (!right) {
        return "wrong: the checksum " + where + " is '" + printable(outcome.extracted) +
               "', the content has " + outcome.computed;
    }
    return (outcome.good ? "right: " : "right, but not in the section [File]: ") +
           outcome.computed + " " + where;
}

void verify(const Request& request, Outcome& outcome) {
    Checksum checksum;
    load(checksum, readWholeFile(outcome.file));
    computeOrFail(checksum, outcome);
    outcome.good = checksum.isChecksumOk() &&
                   (request.anyFormat || outcome.format == Checksum::FORMAT_FILE_SECTION);
    outcome.say(verdict(outcome, checksum.isChecksumOk()));
}

// --- update --------------------------------------------------------------------------------------

void refuseIfChanged(const std::string& file, const std::string& bytes) {
    if (readWholeFile(file) != bytes) {
        throw ToolError(printable(file) +
                        ": was changed by somebody else meanwhile, and is left alone");
    }
}

/// Programs, pictures and texts in 16 bits would be spoilt by a section at their end.
void refuseIfNoText(const std::string& file, const std::string& bytes) {
    if (bytes.find('\0') != std::string::npos) {
        throw ToolError(printable(file) +
                        ": holds bytes of 0, so it is no definition, and is left alone");
    }
}

void update(const Request& request, Outcome& outcome) {
    const std::string bytes = readWholeFile(outcome.file);
    refuseIfNoText(outcome.file, bytes);
    Checksum checksum;
    load(checksum, bytes);
    computeOrFail(checksum, outcome);
    outcome.good = true;
    if (checksum.isChecksumOk() && !request.force) {
        outcome.say("right, and left alone: " + outcome.computed);
        return;
    }
    const Message updated = checksum.getUpdatedData();
    writeWholeFile(outcome.file, bytesOf(updated), [&] { refuseIfChanged(outcome.file, bytes); });
    outcome.written = true;
    outcome.computed =
        bytesOf(checksum.getComputedChecksum()); // of the new section, if there is one
    outcome.say("written: " + outcome.computed +
                (outcome.format == Checksum::FORMAT_NONE
                     ? std::string(" in a new section [File]")
                     : std::string(" ") + FORMATS[outcome.format].words));
}

// --- validate ------------------------------------------------------------------------------------

/// What another format comes to; it goes in front of everything else.
std::string formatWords(const Request& request, const Outcome& outcome) {
    const std::string asked = FORMATS[request.format].words;
    return outcome.format == Checksum::FORMAT_NONE
               ? "there is no checksum " + asked
               : std::string("the checksum stands ") + FORMATS[outcome.format].words + ", not " +
                     asked;
}

void validate(const Request& request, Outcome& outcome) {
    Checksum checksum;
    load(checksum, readWholeFile(outcome.file));
    compute(checksum, true, outcome);
    if (request.format != Checksum::FORMAT_NONE && request.format != outcome.format) {
        outcome.problem = Checksum::VALIDATION_BAD_FORMAT;
        outcome.say(formatWords(request, outcome));
    } else if (request.eol != Checksum::EOL_UNKNOWN && request.eol != outcome.eol) {
        outcome.problem = Checksum::VALIDATION_WRONG_EOL;
        outcome.say(std::string("the line ends are ") + EOLS[outcome.eol].words + ", not " +
                    EOLS[request.eol].words);
    } else if (outcome.problem != Checksum::VALIDATION_OK) {
        outcome.say(wordsOf(*outcome.problem));
    } else {
        outcome.good = true;
        outcome.say(std::string("in form: a checksum ") + FORMATS[outcome.format].words +
                    ", line ends " + EOLS[outcome.eol].words);
    }
}

// --- the command line ----------------------------------------------------------------------------

struct Action {
    const char* name;
    void (*run)(const Request& request, Outcome& outcome);
};

constexpr Action ACTIONS[] = {{"verify", verify}, {"update", update}, {"validate", validate}};

/// The row that an option names; the first one, which can't be named, if it isn't given.
template <typename Row, std::size_t Count>
const Row& chosen(const Arguments& arguments, const char* option, const Row (&rows)[Count]) {
    if (!arguments.has(option)) {
        return rows[0];
    }
    const std::string name = arguments.value(option);
    std::string known;
    for (std::size_t i = 1; i < Count; ++i) {
        if (name == rows[i].name) {
            return rows[i];
        }
        known += std::string(i == 1 ? "" : i + 1 == Count ? " or " : ", ") + rows[i].name;
    }
    throw UsageError(std::string(option) + ": '" + printable(name) + "' isn't " + known);
}

/// A device or a pipe may have no end.
void refuseIfEndless(const std::string& file) {
    std::error_code ignored;
    const auto status = std::filesystem::status(file, ignored);
    if (std::filesystem::is_other(status)) {
        throw ToolError(printable(file) + ": is a device or a pipe, not a file");
    }
}

Outcome runOn(const std::string& file, const Action& action, const Request& request) {
    Outcome outcome;
    outcome.file = file;
    try {
        refuseIfEndless(file);
        action.run(request, outcome);
        return outcome;
    } catch (const std::bad_alloc&) {
        outcome.say("is too large for the memory");
    } catch (const ToolError& error) {
        outcome.text = error.what();
    } catch (const std::exception& error) {
        outcome.say(printable(error.what()));
    }
    outcome.good = false;
    outcome.failed = true;
    return outcome;
}

void print(const Outcome& outcome, Console& console) {
    if (outcome.failed) {
        console.out.flush(); // what was told before stays in front
        console.err << "fus-tool checksum: " << outcome.text << '\n' << std::flush;
    } else {
        console.out << outcome.text << '\n';
    }
}

void writeText(JsonWriter& json, const char* name, const std::string& text) {
    json.key(name);
    if (text.empty()) {
        json.null();
    } else {
        json.value(text);
    }
}

void write(JsonWriter& json, const Outcome& outcome) {
    json.beginObject()
        .member("file", outcome.file)
        .member("ok", outcome.good)
        .member("written", outcome.written)
        .member("text", outcome.text);
    writeText(json, "problem", outcome.problem ? PROBLEMS[*outcome.problem].name : "");
    writeText(json, "format", outcome.problem ? FORMATS[outcome.format].name : "");
    writeText(json, "eol", outcome.problem ? EOLS[outcome.eol].name : "");
    writeText(json, "extracted", outcome.extracted);
    writeText(json, "computed", outcome.computed);
    json.endObject();
}

void writeJson(const Action& action, const std::vector<Outcome>& outcomes, bool ok,
               std::ostream& out) {
    JsonWriter json(out, 2);
    json.beginObject().member("action", action.name).member("ok", ok);
    json.key("files").beginArray();
    for (const Outcome& outcome : outcomes) {
        write(json, outcome);
    }
    json.endArray().endObject();
    out << '\n';
}

} // namespace

int runChecksum(const Arguments& arguments, Console& console) {
    const Action& action = arguments.actionOf(ACTIONS);
    const Request request{arguments.has("--any-format"), arguments.has("--force"),
                          chosen(arguments, "--format", FORMATS).value,
                          chosen(arguments, "--eol", EOLS).value};
    std::vector<Outcome> outcomes;
    for (std::size_t i = 1; i < arguments.operands().size(); ++i) {
        outcomes.push_back(runOn(arguments.operand(i), action, request));
        if (!arguments.has("--json")) {
            print(outcomes.back(), console);
        }
    }
    const bool ok = std::all_of(outcomes.begin(), outcomes.end(),
                                [](const Outcome& outcome) { return outcome.good; });
    if (arguments.has("--json")) {
        writeJson(action, outcomes, ok, console.out);
    }
    return ok ? EXIT_YES : EXIT_NO;
}

} // namespace fus::tool

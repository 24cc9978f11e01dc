// Section by section and key by key through a text, then through what its loader has said.

#include "fus/P_DefinitionCheck.h"

#include <algorithm>
#include <map>
#include <set>

namespace fus {

namespace {

using Finding = DefinitionCheck::Finding;
using Kind = DefinitionCheck::Kind;
using Place = DefinitionReview::Place;

constexpr auto ERROR = DefinitionCheck::SEVERITY_ERROR;
constexpr auto WARNING = DefinitionCheck::SEVERITY_WARNING;

const char* nameOf(Kind kind) {
    return kind == DefinitionCheck::KIND_GENERATOR ? "a generator" : "a mechanical system";
}

Kind otherThan(Kind kind) {
    return kind == DefinitionCheck::KIND_GENERATOR ? DefinitionCheck::KIND_MECHANICS
                                                   : DefinitionCheck::KIND_GENERATOR;
}

std::string withoutDigits(std::string text) {
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    text.erase(std::remove_if(text.begin(), text.end(), isDigit), text.end());
    return text;
}

/// What the loader has read, as the word that would give it.
std::string readAs(const ValueRule& rule, const std::string& reading) {
    const auto* const end = rule.words + rule.wordCount;
    const auto* const word = std::find_if(rule.words, end, [&](const gprotocol::EnumRow& row) {
        return std::to_string(row.value) == reading;
    });
    return "; read as " +
           (reading.empty() ? "nothing" : quoted(word == end ? reading : word->name));
}

std::string_view valueOf(const DefinitionText::Entry& entry) {
    const char* const value = entry.param().value();
    return value == nullptr ? std::string_view() : std::string_view(value);
}

class Judge {
public:
    Judge(const DefinitionText& text, Kind kind, const DefinitionReview& review,
          DefinitionPlaces& places)
        : m_text(text), m_kind(kind), m_vocabulary(kind), m_others(otherThan(kind)),
          m_review(review), m_places(places) {
        for (const DefinitionComplaint& complaint : review.complaints) {
            if (complaint.weight == DefinitionComplaint::REFUSED) {
                m_refused.emplace(complaint.section, complaint.key);
            }
        }
    }

    void run(std::vector<Finding>& findings) {
        for (const DefinitionText::Header& header : m_text.headers()) {
            judge(header);
        }
        for (const DefinitionText::Entry& entry : m_text.entries()) {
            judge(entry);
        }
        m_findings.moveTo(findings);
        for (const Finding& finding : findings) {
            if (finding.severity == ERROR) {
                m_wrong.emplace(finding.section, finding.key);
            }
        }
        for (const bool isOdd : {false, true}) { // so that many odd ones leave room for the others
            for (const DefinitionComplaint& complaint : m_review.complaints) {
                if ((complaint.weight == DefinitionComplaint::ODD) == isOdd) {
                    judge(complaint);
                }
            }
        }
        m_complaints.moveTo(findings);
    }

private:
    void judge(const DefinitionText::Header& header) {
        const std::string path = pathOf(*header.section);
        m_paths.emplace(header.section, path);
        const auto [first, isFirst] = m_places.add({path, ""}, header.line);
        if (isFirst && !m_vocabulary.hasSection(path)) {
            judgeUnknown(header, path);
        } else if (!isFirst) {
            add(WARNING, header.line, {path, ""},
                "the section stands at line " + std::to_string(first) +
                    ", too: its keys add up, and of equal ones the first counts");
        }
    }

    void judgeUnknown(const DefinitionText::Header& header, const std::string& path) {
        const Place place(path, "");
        if (m_others.hasSection(path)) {
            add(ERROR, header.line, place,
                std::string("a section for the definition of ") + nameOf(otherThan(m_kind)) +
                    ", and this is one of " + nameOf(m_kind));
            return;
        }
        const std::string meant = m_vocabulary.nearestSection(path);
        // an axis or a set of coefficients that doesn't exist is no slip of the finger
        const bool isSlip = withoutDigits(meant) != withoutDigits(path);
        if (!meant.empty() && isSlip) {
            add(ERROR, header.line, place, "unknown section, did you mean [" + meant + "]?");
        } else {
            add(meant.empty() ? WARNING : ERROR, header.line, place,
                "unknown section, nothing in it is read; known: " +
                    joined(m_vocabulary.mainSections()));
        }
    }

    void judge(const DefinitionText::Entry& entry) {
        const std::string& section = m_paths[entry.section];
        const char* const name = entry.param().name();
        if (name == nullptr) {
            add(ERROR, entry.line, {section, ""}, "no key in front of the value");
        } else if (!section.empty() && !m_vocabulary.hasSection(section)) {
            return; // which has been told
        } else if (const DefinitionKey* const key = m_vocabulary.find(section, name)) {
            const Place place(section, name);
            m_places.add(place, entry.line);
            const auto [first, isFirst] = m_first.emplace(place, entry);
            if (isFirst) {
                judgeValue(entry, place, *key);
            } else {
                judgeAgain(entry, place, first->second);
            }
        } else {
            judgeUnknown(entry, {section, name});
        }
    }

    void judgeUnknown(const DefinitionText::Entry& entry, const Place& place) {
        const auto& [section, name] = place;
        const std::string home = m_vocabulary.sectionOf(name, section);
        const std::string meant = m_vocabulary.nearestKey(section, name);
        const std::string where =
            section.empty() ? "in front of the first section" : "in [" + printable(section) + "]";
        if (!home.empty()) {
            add(ERROR, entry.line, place, "not read " + where + ", but in [" + home + "]");
        } else if (!meant.empty()) {
            add(ERROR, entry.line, place, "unknown key, did you mean " + meant + "?");
        } else {
            const std::string known = joined(m_vocabulary.keysOf(section));
            add(WARNING, entry.line, place,
                "unknown key, not read; known " + where + ": " + (known.empty() ? "none" : known));
        }
    }

    void judgeAgain(const DefinitionText::Entry& entry, const Place& place,
                    const DefinitionText::Entry& first) {
        const bool isSame = valueOf(entry) == valueOf(first);
        add(isSame ? WARNING : ERROR, entry.line, place,
            "again, and not read: line " + std::to_string(first.line) + " counts, with " +
                (isSame ? "the same value" : quoted(valueOf(first))));
    }

    void judgeValue(const DefinitionText::Entry& entry, const Place& place,
                    const DefinitionKey& key) {
        const auto reading = m_review.readings.find(place);
        const bool isRead = reading != m_review.readings.end();
        if (!isRead && key.name.back() == '#') {
            add(ERROR, entry.line, place, "not read: " + firstGap(key) + " is missing");
            return;
        }
        const ValueFault fault = faultOf(entry.param(), key.rule);
        if (fault.text.empty() ||
            (entry.param().value() == nullptr && m_refused.count(place) != 0)) {
            return;
        }
        const std::string_view value = valueOf(entry);
        const bool tellsReading = isRead && reading->second != value;
        add(fault.severity, entry.line, place,
            (value.empty() ? "" : quoted(value) + ": ") + fault.text + "; expected " +
                expectationOf(key.rule) + (tellsReading ? readAs(key.rule, reading->second) : ""));
    }

    /// The first of numbered keys that wasn't there when the loader looked for it.
    std::string firstGap(const DefinitionKey& key) {
        const std::string stem = key.name.substr(0, key.name.size() - 1);
        unsigned& number = m_gaps[{key.section, stem}]; // goes on where it ended for another key
        while (m_review.readings.count({key.section, stem + std::to_string(number)}) != 0) {
            ++number;
        }
        return stem + std::to_string(number);
    }

    /// What a value's own finding has told isn't told again, and a section that is missing is told
    /// by what must be in it.
    void judge(const DefinitionComplaint& complaint) {
        const unsigned line = m_places.lineOf({complaint.section, complaint.key});
        if (line == 0 && complaint.weight == DefinitionComplaint::ODD && !complaint.log.empty()) {
            return;
        }
        const Place place(complaint.section, complaint.key);
        if (!complaint.key.empty() && m_wrong.count(place) != 0) {
            return;
        }
        const auto severity = complaint.weight == DefinitionComplaint::ODD ? WARNING : ERROR;
        if (severity == ERROR) {
            m_wrong.insert(place);
        }
        m_complaints.add({severity, line, complaint.section, complaint.key, textOf(complaint)});
    }

    std::string textOf(const DefinitionComplaint& complaint) const {
        std::string text = complaint.text;
        const DefinitionKey* const key = m_vocabulary.find(complaint.section, complaint.key);
        if (text.empty() && key != nullptr) {
            const auto entry = m_first.find({complaint.section, complaint.key});
            text = (entry == m_first.end()           ? "missing"
                    : valueOf(entry->second).empty() ? "no value"
                                                     : quoted(valueOf(entry->second))) +
                   "; expected " + expectationOf(key->rule);
        }
        if (text.empty() || complaint.log.empty()) {
            return text + complaint.log;
        }
        return text + " (" + complaint.log + ")";
    }

    void add(DefinitionCheck::Severity severity, unsigned line, const Place& place,
             std::string text) {
        m_findings.add(
            {severity, line, printable(place.first), printable(place.second), std::move(text)});
    }

    const DefinitionText& m_text;
    const Kind m_kind;
    const DefinitionVocabulary m_vocabulary;
    const DefinitionVocabulary m_others;
    const DefinitionReview& m_review;
    std::map<const ConfigSection*, std::string> m_paths;
    std::map<Place, DefinitionText::Entry> m_first; // where each key stands first
    DefinitionPlaces& m_places;
    std::set<Place> m_refused;
    std::set<Place> m_wrong; // where an error has been told
    std::map<Place, unsigned> m_gaps;
    DefinitionFindings m_findings;
    DefinitionFindings m_complaints;
};

} // namespace

unsigned DefinitionPlaces::lineOf(const Place& place) const {
    for (const Place& candidate : {place, Place(place.first, "")}) {
        const auto found = m_lines.find(candidate);
        if (found != m_lines.end()) {
            return found->second;
        }
    }
    const std::string start = place.first + "/";
    const auto inside = m_lines.lower_bound(Place(start, ""));
    return inside != m_lines.end() && inside->first.first.compare(0, start.size(), start) == 0
               ? inside->second
               : 0;
}

void judgeDefinition(const DefinitionText& text, DefinitionCheck::Kind kind,
                     const DefinitionReview& review,
                     std::vector<DefinitionCheck::Finding>& findings, DefinitionPlaces& places) {
    Judge(text, kind, review, places).run(findings);
}

} // namespace fus

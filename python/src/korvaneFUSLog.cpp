// The log, from Python.

#include "PyFUS.h"
#include "compat.h"

#include "fus/Log.h"

#include <string>

namespace korvane {

namespace {

fus::Log& theLog() {
    return fus::Log::getInstance();
}

// The message goes to the logger as its format, and with no arguments. A conversion that asks for
// one would read what isn't there: it stands in the line as it was written. What asks for none
// ("%%", a stray one at the end) is the logger's business.
std::string formatWithoutArguments(const std::string& message) {
    std::string format;
    for (std::size_t i = 0; i < message.size(); ++i) {
        format += message[i];
        if (message[i] != '%' || i + 1 == message.size()) {
            continue;
        }
        format += '%';
        if (message[i + 1] == '%') {
            ++i;
        }
    }
    return format;
}

struct Place {
    std::string file = "<python>";
    unsigned line = 0;
};

Place callersPlace() {
    const py::gil_scoped_acquire lock;
    Place place;
    PyFrameObject* const frame = PyEval_GetFrame();
    if (frame == nullptr) {
        return place;
    }
    try {
        const auto name = py::reinterpret_steal<py::object>(compat::frameFileName(frame));
        if (name) {
            place.file = py::cast<std::string>(name);
            place.line = static_cast<unsigned>(PyFrame_GetLineNumber(frame));
        }
    } catch (...) {
        // the name stays "<python>"
    }
    PyErr_Clear();
    return place;
}

void log(PyFUS& /*self*/, fus::Log::Level level, const std::string& message) {
    const Place place = callersPlace();
    const std::string format = formatWithoutArguments(message);
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
#endif
    theLog().loG(level, place.file.c_str(), place.line, format.c_str());
#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif
}

} // namespace

void defineLog(py::class_<PyFUS>& fus) {
    fus.def(
           "getLogLevel", [](PyFUS&) { return theLog().getLevel(); },
           "Returns the current log level.\n\n:return: a :class:`KORVANE.LogLevel`.")
        .def(
            "setLogLevel", [](PyFUS&, fus::Log::Level level) { theLog().setLevel(level); },
            py::arg("level"),
            "Changes the log level.\n\n:param level: a :class:`KORVANE.LogLevel`; messages below "
            "it are not written.")
        .def(
            "isLogStdoutEnabled", [](PyFUS&) { return theLog().isStdoutEnabled(); },
            "Tells if the log is written on the standard output.")
        .def(
            "isLogStderrEnabled", [](PyFUS&) { return theLog().isStderrEnabled(); },
            "Tells if the log is written on the standard error (the default).")
        .def(
            "isLogFileEnabled", [](PyFUS&) { return theLog().isFileEnabled(); },
            "Tells if the log is written in a file.")
        .def(
            "getLogFileName", [](PyFUS&) { return toStr(theLog().getFileName()); },
            "Returns the name of the current log file, with its date suffix if there is one.\n\n"
            ":return: the name, empty if there is no log file.")
        .def(
            "enableLogStdout", [](PyFUS&, bool enable) { theLog().enableStdout(enable); },
            py::arg("enable"),
            "Enables or disables the log on the standard output.\n\n:param enable: True to write "
            "it there.")
        .def(
            "enableLogStderr", [](PyFUS&, bool enable) { theLog().enableStderr(enable); },
            py::arg("enable"),
            "Enables or disables the log on the standard error.\n\n:param enable: True to write "
            "it there.")
        .def(
            "setLogFile",
            [](PyFUS&, const std::string& filename, bool append) {
                return theLog().setFile(filename.c_str(), append);
            },
            py::arg("filename"), py::arg("append") = true,
            R"(Writes the log in a file, closing the current one.

:param filename: name of the file. Use an empty string to disable file logging.
:param appendDate: True to append the current date and time and .log extension to the filename.
:return: False if the file can not be opened or created.)")
        .def("log", &log, py::arg("level"), py::arg("message"),
             "Writes the given message in the current log.\n\n:param level: a "
             ":class:`KORVANE.LogLevel`.\n:param message: the text; it is taken as a format "
             "without arguments.");
}

} // namespace korvane

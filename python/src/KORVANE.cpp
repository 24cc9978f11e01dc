// The module's start, the exception, and the build information.

#include "korvane.h"

#include "compat.h"

#include "fus/FUSException.h"
#include "fus/Utilities.h"

#include <cstring>
#include <exception>

namespace korvane {

namespace {

struct ErrorRow {
    fus::FUSError value;
    const char* doc;
};

// File errors and user stops have no name in Python; their numbers arrive all the same.
constexpr ErrorRow ERRORS[] = {
    {fus::ERR_UNKNOWN, "should not happen!"},
    {fus::ERR_INDEX,
     "bad index (out of range). Note that this one is always converted into IndexError"},
    {fus::ERR_ARGUMENT, "invalid argument in method call"},
    {fus::ERR_CONFIG_PARSE, "error in INI file syntax"},
    {fus::ERR_THREAD, "thread error"},
    {fus::ERR_SOCKET_OPTION, "can not change or read socket settings"},
    {fus::ERR_SOCKET_READ, "can not read from socket"},
    {fus::ERR_SOCKET_WRITE, "can not write on socket"},
    {fus::ERR_NOT_CONNECTED, "can not send command, not connected to generator"},
    {fus::ERR_PACKET, "unexpected packet content from generator"},
    {fus::ERR_TIMEOUT, "no answer received within timeout"},
    {fus::ERR_GENERATOR, "internal generator error instead of expected answer"},
    {fus::ERR_BOARD, "internal generator board error (command execution)"},
    {fus::ERR_BOARD_BUSY, "timeout elapsed and board command still busy"},
    {fus::ERR_SLICE, "error in slicing shots"},
    {fus::ERR_MECHANICS, "general mechanical system error"},
    {fus::ERR_MECH_NO_CONFIG,
     "mechanical system not configured (config file not loaded or not sent yet)"},
    {fus::ERR_MECH_NO_ORIGIN, "mechanical system does not know its origins"},
    {fus::ERR_MECH_MOVE, "mechanical system move error"},
    {fus::ERR_MECH_ORIGINS_BUSY, "busy finding origins"},
    {fus::ERR_CONFIG, "hardware configuration mismatch (definition/connected)"},
    {fus::ERR_PROTOCOL,
     "trying to use a command not available in the current version of the protocol"},
    {fus::ERR_NOT_AVAILABLE, "hardware or software component not available"},
};

constexpr const char* EXCEPTION_SOURCE =
    "def errorCode(self):\n"
    "    return self.errCode\n"
    "def hardwareCode(self):\n"
    "    return self.hwCode\n"
    "def message(self):\n"
    "    return self.errMessage\n"
    "def line(self):\n"
    "    return self.errLine\n"
    "def file(self):\n"
    "    return self.errFile\n"
    "def __str__(self):\n"
    "    return \"FUSException(code: %d, hwcode: 0x%08X, msg: %s)\" % "
    "(self.errCode, self.hwCode, self.errMessage)\n";

// A reference that is kept for the life of the process.
PyObject* g_exceptionClass = nullptr;

void defineErrors(py::module_& module) {
    py::enum_<fus::FUSError> errors(module, "FUSError", "Error codes returned in FUSException.");
    for (const ErrorRow& row : ERRORS) {
        errors.value(fus::FUSException::FUSErrorName(row.value), row.value, row.doc);
    }
}

// The state is that of the class: a caught exception shows the most recent error of the process.
void raiseInPython(const fus::FUSException& error) {
    if (error.errorCode() == fus::ERR_INDEX) {
        PyErr_SetObject(PyExc_IndexError, toStr(error.message()).ptr());
        return;
    }
    py::object type = py::reinterpret_borrow<py::object>(g_exceptionClass);
    type.attr("errCode") = static_cast<int>(error.errorCode());
    type.attr("hwCode") = error.hardwareCode().rawCode();
    type.attr("errLine") = error.line();
    type.attr("errFile") = toStr(error.sourceFile());
    type.attr("errMessage") = toStr(error.message());
    PyErr_SetObject(g_exceptionClass, g_exceptionClass);
}

void translate(std::exception_ptr pending) {
    try {
        if (pending) {
            std::rethrow_exception(pending);
        }
    } catch (const fus::FUSException& error) {
        raiseInPython(error);
    }
}

void defineBuildInformation(py::module_& module) {
    module.def("buildVersion", &fus::buildVersion,
               "Returns the current version as a string ('a.b.c.d').");
    module.def("buildRevision", &fus::buildRevision,
               "Returns the current revision as a string, (the format depends on the VCS tool "
               "used).");
    module.def("buildDate", &fus::buildDate,
               "Returns the build date and time in UTC as a string, format = 'YYYY-MM-DD hh:mm:ss "
               "UTC'.");
    module.def("buildConfig", &fus::buildConfig,
               "Returns the build configuration name as a string, format = "
               "'windows_vs2017_Release_x64_KORVANE_Python37'.");
    module.def("buildTimestamp", &fus::buildTimestamp,
               "Returns the compilation date and time as a standard timestamp (int).");
}

void* refuseUnmadeObject(std::size_t /*size*/) {
    throw py::type_error("__init__() must be called first");
}

// A method that is called before `__init__` has run would get memory with nothing in it.
void refuseUnmadeObjects(const py::module_& module) {
    for (const auto& entry : py::dict(module.attr("__dict__"))) {
        if (!PyType_Check(entry.second.ptr())) {
            continue;
        }
        auto* const type = reinterpret_cast<PyTypeObject*>(entry.second.ptr());
        if (auto* const info = py::detail::get_type_info(type)) {
            info->operator_new = &refuseUnmadeObject;
        }
    }
}

} // namespace

py::str toStr(const char* text) {
    if (text == nullptr) {
        return py::str();
    }
    PyObject* const decoded =
        PyUnicode_DecodeUTF8(text, static_cast<Py_ssize_t>(std::strlen(text)), "replace");
    if (decoded == nullptr) {
        throw py::error_already_set();
    }
    return py::reinterpret_steal<py::str>(decoded);
}

void defineException(py::module_& module) {
    defineErrors(module);
    py::dict body;
    body["errCode"] = -1;
    body["hwCode"] = 0;
    body["errMessage"] = py::bytes();
    body["errLine"] = 0;
    body["errFile"] = py::bytes();
    const auto executed = py::reinterpret_steal<py::object>(
        PyRun_StringFlags(EXCEPTION_SOURCE, Py_file_input, body.ptr(), body.ptr(), nullptr));
    if (!executed) {
        throw py::error_already_set();
    }
    g_exceptionClass = PyErr_NewException("KORVANE.FUSException", PyExc_Exception, body.ptr());
    if (g_exceptionClass == nullptr) {
        throw py::error_already_set();
    }
    module.attr("FUSException") = py::reinterpret_borrow<py::object>(g_exceptionClass);
    py::register_exception_translator(&translate);
}

} // namespace korvane

// Refuses an interpreter of another version than the one it was built for.
PYBIND11_MODULE(KORVANE, module) {
    using namespace korvane;
    compat::initThreads();
    pybind11::options options;
    options.enable_user_defined_docstrings().disable_function_signatures();
    defineException(module);
    defineBuildInformation(module);
    defineFUS(module);
    defineGeneral(module);
    defineListener(module);
    defineGenerator(module);
    defineResults(module);
    defineMechanics(module);
    refuseUnmadeObjects(module);
    guardInterpreterExit();
}

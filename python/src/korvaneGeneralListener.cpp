// The bridge from the library's events to Python's listeners.

#include "PyFUSListener.h"

#include "compat.h"

#include "fus/FUS.h"
#include "fus/FUSEvent.h"
#include "fus/P_FUSAccess.h"
#include "fus/P_LogMacros.h"
#include "fus/Utilities.h"

#include <atomic>
#include <set>

namespace korvane {

using fus::FUSEvent;

namespace {

// How long a callback that is running may hold up the end of the interpreter [ms], and how long
// once more after it was told to end by an exception.
constexpr unsigned CALLBACK_END_TIMEOUT = 1000;
constexpr unsigned CALLBACK_ABORT_TIMEOUT = 400;

// Set when the interpreter begins to end; from then on no event enters Python.
std::atomic<bool> g_closed{false};

// guarded by the interpreter's lock
std::set<PyFUSListener*> g_registered;
unsigned long g_eventThread = 0;

// The interpreter's lock for one event.
//
// A thread that enters the interpreter for the first time gets a state there, which costs far more
// than the lock. The first event therefore keeps one level of entry for good, and all later ones
// find the state in place.
class InterpreterLock {
public:
    InterpreterLock() {
        thread_local bool kept = false;
        if (!kept) {
            kept = true;
            PyGILState_Ensure();
            g_eventThread = compat::currentThread();
            PyEval_SaveThread();
        }
        m_state = PyGILState_Ensure();
    }
    ~InterpreterLock() { PyGILState_Release(m_state); }
    InterpreterLock(const InterpreterLock&) = delete;
    InterpreterLock& operator=(const InterpreterLock&) = delete;

private:
    PyGILState_STATE m_state;
};

// Runs when the interpreter begins to end, after the script and before anything is taken apart.
void leaveInterpreter() {
    g_closed = true;
    if (!fus::FUS::isInitialized()) {
        return;
    }
    clearListeners();
    fus::FUS& fus = fus::FUS::getInstance();
    {
        py::gil_scoped_release free;
        if (fus::FUSAccess::waitForListeners(fus, CALLBACK_END_TIMEOUT)) {
            return;
        }
    }
    FUS_LOG(ERROR, "A listener is still running at the end of the interpreter: it is interrupted.");
    compat::raiseInThread(g_eventThread, PyExc_SystemExit);
    py::gil_scoped_release free;
    if (!fus::FUSAccess::waitForListeners(fus, CALLBACK_ABORT_TIMEOUT)) {
        fus::FUSAccess::abandonEventSender(fus);
    }
}

// A thread that asks for the lock of an interpreter that is being taken apart is ended by it on the
// spot, which unwinds its stack: through what would free Python objects that are gone. It stays
// here instead, until the process ends and it with it.
class UnwindStop {
public:
    ~UnwindStop() {
        while (!m_passed) {
            fus::milliSleep(CALLBACK_END_TIMEOUT);
        }
    }
    UnwindStop() = default;
    UnwindStop(const UnwindStop&) = delete;
    UnwindStop& operator=(const UnwindStop&) = delete;

    void pass() { m_passed = true; }

private:
    bool m_passed = false;
};

// The arguments are copied, so that Python may keep them.
template <class... Arguments>
void callPython(const py::function& function, const Arguments&... arguments) {
    const py::tuple converted = py::make_tuple(arguments...);
    UnwindStop stop;
    const auto result =
        py::reinterpret_steal<py::object>(PyObject_CallObject(function.ptr(), converted.ptr()));
    stop.pass();
    if (!result) {
        throw py::error_already_set();
    }
}

} // namespace

void guardInterpreterExit() {
    py::module_::import("atexit").attr("register")(py::cpp_function(&leaveInterpreter));
}

void registerListener(PyFUSListener* listener) {
    fus::FUS::getInstance().registerListener(listener);
    if (listener != nullptr) {
        g_registered.insert(listener);
    }
}

void unregisterListener(PyFUSListener* listener) {
    fus::FUS::getInstance().unregisterListener(listener);
    g_registered.erase(listener);
}

void clearListeners() {
    fus::FUS::getInstance().clearListeners();
    g_registered.clear();
}

PyFUSListener::PyFUSListener() {
    FUS_LOG(DEBUG, "PyFUSListener()");
}

PyFUSListener::~PyFUSListener() {
    FUS_LOG(DEBUG, "~PyFUSListener()");
    if (g_registered.count(this) == 0) {
        return;
    }
    unregisterListener(this);
    // an event may be on its way into this object; it gets no further than `handleEvent` once the
    // lock is free, as the object is no longer registered
    py::gil_scoped_release free;
    fus::FUSAccess::waitForListeners(fus::FUS::getInstance(), CALLBACK_END_TIMEOUT);
}

void PyFUSListener::handleEvent(FUSEvent* event) {
    const FUSEvent::EventType type = event->type();
    const char* const name = FUSEvent::eventTypeName(type);
    FUS_LOG(VERBOSE, "  KORVANE event: type=%d/%s", static_cast<int>(type), name);
    if (g_closed) {
        return;
    }
    const InterpreterLock lock;
    if (g_registered.count(this) == 0) {
        return;
    }
    try {
        dispatch(*event);
    } catch (const py::error_already_set& error) {
        FUS_LOG(EXCEPTION, "Python exception in listener (event type %d/%s):\n%s",
                static_cast<int>(type), name, error.what());
    } catch (...) {
        FUS_LOG(EXCEPTION, "Unknown python exception in listener (event type %d/%s)",
                static_cast<int>(type), name);
    }
}

void PyFUSListener::dispatch(FUSEvent& event) {
    switch (event.type()) {
    case FUSEvent::EVENT_CONNECT:
        return onConnect();
    case FUSEvent::EVENT_DISCONNECT:
        return onDisconnect(static_cast<fus::ConnectEvent&>(event).reason());
    case FUSEvent::EVENT_EXEC_START: {
        const auto& start = static_cast<fus::ExecStartEvent&>(event);
        return onExecStart(start.execID(), start.execCount(), start.execFlags(), start.elecMode(),
                           start.trigMode(), start.mechMode());
    }
    case FUSEvent::EVENT_SHOT_RESULT: {
        const auto& shot = static_cast<fus::ShotEvent&>(event);
        return onShotResult(shot.execID(), shot.shotResult());
    }
    case FUSEvent::EVENT_EXEC_RESULT:
        return onExecResult(static_cast<fus::ExecEvent&>(event).execResult());
    case FUSEvent::EVENT_MECH_MOTION_RESULT: {
        const auto& motion = static_cast<fus::MechMotionEvent&>(event);
        if (motion.result() != fus::mprotocol::OK) {
            FUS_LOG(INFO, "    Listener: motion result (execID=%u, result=%u, code=0x%X, msg=%s)",
                    motion.execID(), static_cast<unsigned>(motion.result()),
                    motion.hardwareCode().rawCode(), motion.resultMessage());
        }
        return onMechResult(motion.execID(), motion.result(), motion.hardwareCode().rawCode());
    }
    case FUSEvent::EVENT_MECH_ORIGIN_RESULT: {
        const auto& origin = static_cast<fus::MechOriginEvent&>(event);
        const char* const message = origin.resultMessage();
        return onMechOrigin(origin.result(), message != nullptr ? message : "");
    }
    default:
        FUS_LOG(INFO, "    Event ignored (type=%d)", static_cast<int>(event.type()));
    }
}

namespace {

/// Finds the methods that a Python subclass has of its own.
class PyFUSListenerTrampoline final : public PyFUSListener {
public:
    void onConnect() override {
        if (const auto call = implemented("onConnect", "connection event")) {
            FUS_LOG(INFO, "    Listener: connection event");
            callPython(call);
        }
    }

    void onDisconnect(unsigned reason) override {
        if (const auto call = implemented("onDisconnect", "disconnection event")) {
            FUS_LOG(INFO, "    Listener: disconnection event (reason = %u)", reason);
            callPython(call, reason);
        }
    }

    void onExecStart(unsigned execID, unsigned execCount, unsigned execFlags, unsigned elecMode,
                     unsigned trigMode, unsigned mechMode) override {
        if (const auto call = implemented("onExecStart", "execution started event")) {
            FUS_LOG(INFO, "    Listener: execution started (execID=%u, count=%u, flags=%u)", execID,
                    execCount, execFlags);
            callPython(call, execID, execCount, execFlags, elecMode, trigMode, mechMode);
        }
    }

    void onShotResult(unsigned execID, const fus::ShotResult& shotResult) override {
        if (const auto call = implemented("onShotResult", "shot result")) {
            FUS_LOG(INFO, "    Listener: shot result (execID=%u, exec=%u, shot=%u)", execID,
                    shotResult.execIndex(), shotResult.shotIndex());
            callPython(call, execID, shotResult);
        }
    }

    void onExecResult(const fus::ExecResult& execResult) override {
        if (const auto call = implemented("onExecResult", "execution result")) {
            log(execResult);
            callPython(call, execResult);
        }
    }

    void onMechOrigin(unsigned result, const std::string& message) override {
        if (const auto call = implemented("onMechOrigin", "find origin result")) {
            FUS_LOG(INFO, "    Listener: find origin result (result=%u, msg=%s)", result,
                    message.c_str());
            callPython(call, result, message);
        }
    }

    void onMechResult(unsigned execID, unsigned result, unsigned code) override {
        if (const auto call = implemented("onMechResult", "motion result")) {
            if (result == fus::mprotocol::OK) {
                FUS_LOG(INFO, "    Listener: motion result (execID=%u, result=%u, code=0x%X)",
                        execID, result, code);
            }
            callPython(call, execID, result, code);
        }
    }

private:
    py::function implemented(const char* method, const char* event) const {
        py::function found = py::get_override(static_cast<const PyFUSListener*>(this), method);
        if (!found) {
            FUS_LOG(VERBOSE, "    Listener: %s (ignored, not implemented)", event);
        }
        return found;
    }

    static void log(const fus::ExecResult& result) {
        switch (result.status()) {
        case fus::ExecResult::EXEC_OK_CONTINUE:
        case fus::ExecResult::EXEC_OK_FINISHED:
            FUS_LOG(INFO, "    Listener: execution done (execID=%u, exec=%u, remaining=%u)",
                    result.id(), result.index(), result.remaining());
            break;
        case fus::ExecResult::EXEC_STOP_BY_USER:
            FUS_LOG(INFO, "    Listener: execution stopped by user (execID=%u, exec=%u)",
                    result.id(), result.index());
            break;
        default:
            FUS_LOG(INFO, "    Listener: execution error (code=%u, message=%s)",
                    static_cast<unsigned>(result.status()), result.errorMessage());
        }
    }
};

constexpr const char* EXEC_START_DOC =
    R"(Callback called when the execution of a trajectory is started.

This event is sent by :func:`Generator.executeTrajectory()` or ``executeDisplacement()``, and not returned by the generator.
It is generated only once, even if the specified execution count is more than one.
With an external trigger it is sent when ``executeTrajectory()`` is called, not when the trajectory is really executed (since we don't know when).

:param execID: unique identifier of this execution.
:param execCount: number of executions (at least 1).
:param execFlags: execution flags, see :class:`KORVANE.ExecFlag`.
:param elecMode: electronic execution mode, see :class:`KORVANE.ElecExecMode`.
:param trigMode: trigger mode, see :class:`KORVANE.TriggerMode`.
:param mechMode: mechanical execution mode, see :class:`KORVANE.ElecMechMode`.)";

constexpr const char* MECH_ORIGIN_DOC =
    R"(Callback called when the mechanical origin search is over (success or not).

:param result: code (0=OK, 7=stopped, 8=disconnected, 9=position error, 10=internal error).
:param message: corresponding error message (if result is not 0).)";

constexpr const char* MECH_RESULT_DOC =
    R"(Callback called when a mechanical trajectory (only) is terminated.

This one is not called for mixed trajectories (elec+mech).

:param execID: unique identifier of this execution.
:param result: a :class:`KORVANE.MechResult`.
:param code: mechanical internal code.)";

} // namespace

void defineListener(py::module_& module) {
    py::class_<PyFUSListener, PyFUSListenerTrampoline>(
        module, "FUSListener",
        "A listener for FUS events.\n\nNote that an exception raised in those functions is usually "
        "ignored.\n\nIt is always reported in the log, though.")
        .def(py::init<>(), "Base constructor.")
        .def("onConnect", &PyFUSListener::onConnect,
             "Callback called on successful connection event.")
        .def("onDisconnect", &PyFUSListener::onDisconnect, py::arg("reason"),
             "Callback called on disconnection event.\n\n:param reason: origin of the "
             "disconnection, 0=manual, 1=socket error, 2=FUS destructor.")
        .def("onExecStart", &PyFUSListener::onExecStart, py::arg("execID"), py::arg("execCount"),
             py::arg("execFlags"), py::arg("elecMode"), py::arg("trigMode"), py::arg("mechMode"),
             EXEC_START_DOC)
        .def("onShotResult", &PyFUSListener::onShotResult, py::arg("execID"), py::arg("shotResult"),
             "Callback called when a shot result is received.\n\n:param execID: unique identifier "
             "of this execution.\n:param shotResult: the :class:`KORVANE.ShotResult`, it can be "
             "kept.")
        .def("onExecResult", &PyFUSListener::onExecResult, py::arg("execResult"),
             "Callback called when an electronic trajectory is terminated (once per repeat).\n\n"
             ":param execResult: the :class:`KORVANE.ExecResult`, it can be kept.")
        .def("onMechOrigin", &PyFUSListener::onMechOrigin, py::arg("result"), py::arg("message"),
             MECH_ORIGIN_DOC)
        .def("onMechResult", &PyFUSListener::onMechResult, py::arg("execID"), py::arg("result"),
             py::arg("code"), MECH_RESULT_DOC);
}

} // namespace korvane

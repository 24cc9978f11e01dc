// What the Python module costs over the interpreter itself. The module is imported as a script
// would import it: put its directory into PYTHONPATH.

#include <Python.h>

#include "BarePeer.h"
#include "Ratios.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace fus::bench {

namespace {

constexpr unsigned SHOT_BATCH = 2000; // shot results in one iteration
constexpr unsigned ITEMS = 256;

constexpr const char* SCRIPT = R"(
import threading
import KORVANE

class Counter(KORVANE.FUSListener):
    def __init__(self):
        super().__init__()
        self.count = 0
        self.target = -1
        self.reached = threading.Event()

    def onShotResult(self, execID, result):
        self.count += 1
        if self.count == self.target:
            self.reached.set()

fus = KORVANE.FUS()
counter = Counter()
plain = Counter()
result = KORVANE.ShotResult.__new__(KORVANE.ShotResult)
values = list(range(256))
shot = KORVANE.PhaseShot(256, 256, 256)

def start(port):
    if not fus.connect("127.0.0.1", port):
        raise RuntimeError("no connection")
    fus.registerListener(counter)
    trajectory = KORVANE.ElectronicTrajectory(256)
    one = KORVANE.PhaseShot(1, 1, 1)
    one.setDuration(1000, 1000)
    trajectory.addShot(one)
    fus.gen.sendTrajectory(0, trajectory)
    return fus.gen.executeTrajectory(0, 1, 0)

def expect(count):
    counter.count = 0
    counter.target = count
    counter.reached.clear()

def wait():
    counter.reached.wait()

def end():
    fus.clearListeners()
    fus.disconnect()
)";

void must(bool condition) {
    if (!condition) {
        PyErr_Print();
        std::abort();
    }
}

/// The interpreter with the script in it, for the whole run.
class Interpreter {
public:
    static Interpreter& get() {
        static Interpreter instance;
        return instance;
    }

    PyObject* object(const char* name) { return PyDict_GetItemString(m_globals, name); }

    long call(const char* function) {
        return result(PyObject_CallObject(object(function), nullptr));
    }
    long call(const char* function, long argument) {
        return result(PyObject_CallFunction(object(function), "l", argument));
    }

private:
    Interpreter() {
        Py_InitializeEx(0);
        m_globals = PyDict_New();
        PyDict_SetItemString(m_globals, "__builtins__", PyEval_GetBuiltins());
        must(PyRun_String(SCRIPT, Py_file_input, m_globals, m_globals) != nullptr);
    }

    static long result(PyObject* value) {
        must(value != nullptr);
        const long number = PyLong_Check(value) ? PyLong_AsLong(value) : 0;
        Py_DECREF(value);
        return number;
    }

    PyObject* m_globals = nullptr;
};

// --- shot results --------------------------------------------------------------------------------

void plainCalls(benchmark::State& state) {
    Interpreter& python = Interpreter::get();
    PyObject* const method = PyObject_GetAttrString(python.object("plain"), "onShotResult");
    must(method != nullptr);
    for (auto _ : state) {
        for (unsigned i = 0; i < SHOT_BATCH; ++i) {
            PyObject* const done = PyObject_CallFunction(method, "IO", 1U, python.object("result"));
            Py_XDECREF(done);
        }
    }
    Py_DECREF(method);
    state.SetItemsProcessed(state.iterations() * SHOT_BATCH);
}

void shotResultsIntoPython(benchmark::State& state) {
    Interpreter& python = Interpreter::get();
    BarePeer peer(true);
    const auto id = static_cast<unsigned>(python.call("start", peer.port()));
    for (auto _ : state) {
        python.call("expect", SHOT_BATCH);
        peer.sendShots(id, SHOT_BATCH);
        python.call("wait");
    }
    python.call("end");
    state.SetItemsProcessed(state.iterations() * SHOT_BATCH);
}

// --- lists ---------------------------------------------------------------------------------------

void bareList(benchmark::State& state) {
    PyObject* const list = Interpreter::get().object("values");
    std::vector<unsigned char> bytes(ITEMS);
    for (auto _ : state) {
        for (unsigned i = 0; i < ITEMS; ++i) {
            const long value = PyLong_AsLong(PyList_GetItem(list, i));
            bytes[i] = static_cast<unsigned char>(value);
        }
        benchmark::DoNotOptimize(bytes.data());
        benchmark::ClobberMemory();
    }
}

void listIntoAShot(benchmark::State& state) {
    Interpreter& python = Interpreter::get();
    PyObject* const list = python.object("values");
    PyObject* const method = PyObject_GetAttrString(python.object("shot"), "setPhases");
    must(method != nullptr);
    for (auto _ : state) {
        PyObject* const done = PyObject_CallFunctionObjArgs(method, list, nullptr);
        Py_XDECREF(done);
    }
    Py_DECREF(method);
}

} // namespace

BENCHMARK(plainCalls)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(shotResultsIntoPython)->UseRealTime()->Unit(benchmark::kMillisecond);
FUS_AT_LEAST(shotResultsIntoPython, plainCalls, 0.1);

BENCHMARK(bareList);
BENCHMARK(listIntoAShot);
FUS_AT_LEAST(listIntoAShot, bareList, 0.8);

} // namespace fus::bench

#pragma once

// The one place that knows how interpreters from 3.6 to 3.13 differ in what the module calls.

#include <Python.h>
#include <frameobject.h>

#include <pybind11/pybind11.h>

namespace korvane::compat {

/// Starts the interpreter's support of threads. From 3.7 on it is always there, and the call is
/// deprecated from 3.9 on and gone in 3.13.
inline void initThreads() {
#if PY_VERSION_HEX < 0x03070000
    PyEval_InitThreads();
#endif
}

/// The file name of a frame's code as a new reference, or null. The code object is hidden from
/// 3.11 on.
inline PyObject* frameFileName(PyFrameObject* frame) {
#if PY_VERSION_HEX < 0x03090000
    PyObject* const name = frame->f_code->co_filename;
    Py_XINCREF(name);
    return name;
#else
    PyCodeObject* const code = PyFrame_GetCode(frame);
    PyObject* const name = PyObject_GetAttrString(reinterpret_cast<PyObject*>(code), "co_filename");
    Py_DECREF(code);
    return name;
#endif
}

/// Raises an exception class in another thread at its next step in Python. The thread's id was a
/// signed number up to 3.6.
inline void raiseInThread(unsigned long thread, PyObject* exceptionClass) {
#if PY_VERSION_HEX < 0x03070000
    PyThreadState_SetAsyncExc(static_cast<long>(thread), exceptionClass);
#else
    PyThreadState_SetAsyncExc(thread, exceptionClass);
#endif
}

/// The calling thread's id as `raiseInThread` takes it.
inline unsigned long currentThread() {
    return static_cast<unsigned long>(PyThread_get_thread_ident());
}

} // namespace korvane::compat

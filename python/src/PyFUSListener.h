#pragma once

#include "korvane.h"

#include "fus/ExecResult.h"
#include "fus/FUSListener.h"
#include "fus/ShotResult.h"

#include <string>

namespace korvane {

/// Turns the library's events into calls, on the event sender's thread and with the interpreter's
/// lock held. Nothing that goes wrong in Python leaves `handleEvent`.
///
/// The application holds the Python object while it is registered. One that goes away all the same
/// is unregistered by its destructor.
class PyFUSListener : public fus::FUSListener {
public:
    PyFUSListener();
    ~PyFUSListener() override;
    PyFUSListener(const PyFUSListener&) = delete;
    PyFUSListener& operator=(const PyFUSListener&) = delete;

    void handleEvent(fus::FUSEvent* event) override;

    virtual void onConnect() = 0;
    virtual void onDisconnect(unsigned reason) = 0;
    virtual void onExecStart(unsigned execID, unsigned execCount, unsigned execFlags,
                             unsigned elecMode, unsigned trigMode, unsigned mechMode) = 0;
    virtual void onShotResult(unsigned execID, const fus::ShotResult& shotResult) = 0;
    virtual void onExecResult(const fus::ExecResult& execResult) = 0;
    virtual void onMechOrigin(unsigned result, const std::string& message) = 0;
    virtual void onMechResult(unsigned execID, unsigned result, unsigned code) = 0;

private:
    void dispatch(fus::FUSEvent& event);
};

// Registration, with the interpreter's lock held. It is noted which listeners the library knows,
// so that a listener can't be called after its object is gone.

void registerListener(PyFUSListener* listener);
void unregisterListener(PyFUSListener* listener);
void clearListeners();

} // namespace korvane

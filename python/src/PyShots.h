#pragma once

#include "korvane.h"

#include "fus/ElectronicTrajectory.h"
#include "fus/PhaseShot.h"

namespace korvane {

/// A shot whose life Python governs. It passes by reference to whatever takes a shot.
class PyPhaseShot : public fus::PhaseShot {
public:
    using PhaseShot::PhaseShot;
    PyPhaseShot() = default;
    PyPhaseShot(const PyPhaseShot&) = default;
    PyPhaseShot& operator=(const PyPhaseShot&) = default;
    explicit PyPhaseShot(const PhaseShot& shot) : PhaseShot(shot) {}
    ~PyPhaseShot() override;
};

/// A trajectory whose life Python governs.
class PyElecTraj : public fus::ElectronicTrajectory {
public:
    using ElectronicTrajectory::ElectronicTrajectory;
    PyElecTraj(const PyElecTraj&) = default;
    PyElecTraj& operator=(const PyElecTraj&) = default;
    ~PyElecTraj() override;
};

void definePhaseShot(py::module_& module);
void defineTrajectory(py::module_& module);

} // namespace korvane

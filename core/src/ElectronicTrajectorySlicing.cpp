#include "fus/ElectronicTrajectory.h"
#include "fus/Generator.h"
#include "fus/P_TimeSlicer.h"
#include "fus/P_Upcalls.h"

namespace fus {

void ElectronicTrajectory::sliceShots(gprotocol::ElecExecMode mode) {
    const Generator& generator = upcalls().generator();
    ShotLimits limits;
    limits.minDuration = generator.getMinShootingDuration(mode);
    limits.maxDuration = generator.getMaxShootingDuration(mode);
    limits.minTotal = generator.getMinTotalShotDuration(mode, 0);
    limits.maxTotal = generator.getMaxTotalShotDuration(mode);
    sliceWithin(limits, mode);
}

} // namespace fus

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

// How a test looks into the library that stands for a driver of CUDA, and its compiler: device memory is the host's,
// and the one kernel that it knows adds bytes. Work is done at once, and what failed in it is told by the next call
// that waits. Calls that break the driver's rules end the process with a message: memory that is not the device's, a
// thread without a context.
namespace FakeCuda {

struct State {
    // All calls but those that ask for versions and attributes, one a line, with what matters of their arguments.
    std::string log;
    // The call of that name with this number from now on, 1 for the next, answers with that result. A failure in work
    // that is queued comes from the next call that waits.
    std::string failingCall;
    int failingNumber = 0;
    int failure = 0;
    int queuedFailure = 0;
    // 0: as it is.
    int deviceCount = 1, computeMode = 0, capabilityMajor = 8, capabilityMinor = 6, mostThreads = 1024;
    int maximumPitch = 1 << 20;
    // Rectangles of copies between places of the device are refused as invalid, as some devices do.
    bool takesNoRectangles = false;
    // The blocks that are not given back.
    int blocks = 0, streams = 0, modules = 0, contexts = 0, programs = 0;
    int mostBlocksDown = 0;
};

} // namespace FakeCuda

extern "C" FakeCuda::State* fakeCudaState();

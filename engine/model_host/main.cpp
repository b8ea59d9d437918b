// SPDX-License-Identifier: Apache-2.0
// Runs one network over one picture for the engine: redraft-model-host. What goes in and out is in model_protocol.h. A
// model may do here what it likes: the engine ends this process when it has waited long enough.

#include "engine/kernel/host_socket.h"
#include "engine/learning/model_protocol.h"
#include "engine/model_host/confine.h"
#include "engine/model_host/onnx_outline.h"

#include <algorithm>
#include <malloc.h>
#include <opencv2/core.hpp>
#include <opencv2/dnn.hpp>
#include <unistd.h>

namespace {

using namespace Learning::ModelProtocol;
using HostSocket::ReadAll, HostSocket::WriteAll;

int End(ModelStatus status) {
    Answer const answer{c_magic, status, 0, 0};
    return WriteAll(&answer, sizeof answer) ? 0 : 4;
}

struct Size {
    std::uint32_t width = c_usualSide, height = c_usualSide;
};

bool TakeSide(std::uint64_t size, std::uint32_t& side) {
    if (size == 0)
        return true;
    side = static_cast<std::uint32_t>(std::min<std::uint64_t>(size, c_maximumSide + 1));
    return c_leastSide <= size && size <= c_maximumSide;
}

// Networks that take one picture of three planes, batch by plane by row by column.
ModelStatus CheckInputs(OnnxOutline const& outline, Size& size) {
    constexpr std::uint64_t c_float32 = 1;
    if (outline.inputs.size() != 1)
        return ModelStatus::OtherInputs;
    auto const& input = outline.inputs.front();
    if (input.elementType != c_float32)
        return ModelStatus::OtherNumbers;
    bool const fits = input.shape.size() == 4 && input.shape[0] <= 1 && (input.shape[1] == 3 || input.shape[1] == 0) &&
                      TakeSide(input.shape[2], size.height) && TakeSide(input.shape[3], size.width);
    return fits ? ModelStatus::Done : ModelStatus::OtherInputs;
}

// Layers have the names of their nodes, or of what they make, with a mark in front in some releases.
std::string FindOutput(cv::dnn::Net& net, OnnxOutline const& outline) {
    for (auto const& name : {outline.firstOutput, outline.firstOutputNode}) {
        for (auto const& full : {name, "onnx_node!" + name, "onnx_node_output_0!" + name}) {
            if (!name.empty() && net.getLayerId(full) >= 0)
                return full;
        }
    }
    return net.getUnconnectedOutLayersNames().at(0);
}

// A matte is one plane, in as many dimensions of one element as may be.
bool IsMatte(cv::Mat const& output) {
    if (output.type() != CV_32F || output.dims < 2)
        return false;
    auto const isSide = [](int size) { return 1 <= size && size <= int(c_maximumSide); };
    int const height = output.size[output.dims - 2], width = output.size[output.dims - 1];
    return isSide(height) && isSide(width) && output.isContinuous() &&
           output.total() == static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
}

int Run(cv::dnn::Net& net, OnnxOutline const& outline, Size size) {
    int const shape[] = {1, 3, static_cast<int>(size.height), static_cast<int>(size.width)};
    cv::Mat picture(4, shape, CV_32F);
    if (!ReadAll(picture.data, picture.total() * sizeof(float)))
        return 3;
    cv::Mat output;
    try {
        net.setInput(picture, outline.inputs.front().name);
        output = net.forward(FindOutput(net, outline));
    } catch (std::exception const&) {
        return End(ModelStatus::CannotRun);
    }
    if (!IsMatte(output))
        return End(ModelStatus::NoMatte);
    Answer const answer{c_magic, ModelStatus::Done, static_cast<std::uint32_t>(output.size[output.dims - 1]),
                        static_cast<std::uint32_t>(output.size[output.dims - 2])};
    return WriteAll(&answer, sizeof answer) && WriteAll(output.data, output.total() * sizeof(float)) ? 0 : 4;
}

int Serve() {
    Start start{};
    if (!ReadAll(&start, sizeof start) || start.magic != c_magic || start.modelSize > c_maximumModel)
        return 3;
    std::vector<char> model(start.modelSize);
    if (!ReadAll(model.data(), model.size()))
        return 3;
    auto const outline = OnnxOutline::Read({model.data(), model.size()});
    if (!outline)
        return End(ModelStatus::NoModel);
    Size size;
    if (auto const status = CheckInputs(*outline, size); status != ModelStatus::Done)
        return End(status);
    cv::dnn::Net net;
    try {
        net = cv::dnn::readNetFromONNX(model.data(), model.size());
        net.setPreferableBackend(cv::dnn::DNN_BACKEND_OPENCV);
        net.setPreferableTarget(cv::dnn::DNN_TARGET_CPU);
    } catch (std::exception const&) {
        return End(ModelStatus::CannotRun);
    }
    if (net.empty())
        return End(ModelStatus::NoModel);
    std::vector<char>().swap(model);
    Answer const answer{c_magic, ModelStatus::Done, size.width, size.height};
    return WriteAll(&answer, sizeof answer) ? Run(net, *outline, size) : 4;
}

} // namespace

int main() {
    // Each thread takes address space for its stack and its heap, of which the process has only so much.
    constexpr int c_mostThreads = 16, c_mostHeaps = 4;
    mallopt(M_ARENA_MAX, c_mostHeaps);
    cv::setNumThreads(std::min(cv::getNumThreads(), c_mostThreads));
    // While files of the system can still be read: the number of processors, and the workers of loops.
    cv::parallel_for_(cv::Range(0, 64), [](cv::Range const&) {});
    Confine(c_memory);
    try {
        _exit(Serve());
    } catch (std::bad_alloc const&) {
        _exit(End(ModelStatus::CannotRun));
    }
}

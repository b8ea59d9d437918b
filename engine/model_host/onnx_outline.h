// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The parts of an ONNX model (github.com/onnx/onnx, onnx.proto) that tell how it is to be run.
struct OnnxOutline {
    struct Input {
        std::string name;
        // 1 is float32, 10 is float16.
        std::uint64_t elementType = 0;
        // Sizes of the dimensions; 0 where one is free.
        std::vector<std::uint64_t> shape;
    };
    // Without those that have values in the file.
    std::vector<Input> inputs;
    std::string firstOutput;
    // The name of the node that makes it; empty where it has none.
    std::string firstOutputNode;

    // None where the bytes are not such a model. Reads nothing but them.
    static std::optional<OnnxOutline> Read(std::string_view model);
};

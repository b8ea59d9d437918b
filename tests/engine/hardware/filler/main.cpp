// SPDX-License-Identifier: Apache-2.0
// Fills the folder that it is given with kernels, several times over, and ends with 1 when it reads a wrong one there.
#include "engine/hardware/kernel_folder.h"
#include "tests/engine/hardware/filler/kernels.h"

int main(int count, char** arguments) {
    if (count != 2)
        return 2;
    Raster::KernelFolder const folder(arguments[1], Raster::Tests::c_bytesOfFolder);
    for (int turn = 0; turn != 5; ++turn) {
        for (int number = 0; number != Raster::Tests::c_kernelsOfProcess; ++number) {
            std::string const text = Raster::Tests::GetKernelText(number);
            std::string_view const view = text;
            auto const name = Raster::KernelFolder::MakeName(std::span(&view, 1));
            auto const binary = Raster::Tests::MakeKernelBinary(number), read = folder.Read(name);
            if (read.empty())
                folder.Write(name, binary);
            else if (read != binary)
                return 1;
        }
    }
}

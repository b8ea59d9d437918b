// SPDX-License-Identifier: Apache-2.0
#include "raster/inflate_untrusted_raster_nodes_command.h"

namespace Commands {

void InflateUntrustedRasterNodesCommand::Do() {
    m_visitor = Kernel::MakeCounted<UpdateTransformedRasterNodesVisitor>(GetDocumentController());
    SelectionCommandWithSingleInterface::Do();
}

void InflateUntrustedRasterNodesCommand::ReceiveInterface(Kernel::NonCounted<MutableRasterInterface> layer) {
    if (m_direction == Direction::Do)
        m_visitor->Visit(Kernel::NonCounted<Kernel::Countable>(layer.get()));
}

} // namespace Commands

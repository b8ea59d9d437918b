// SPDX-License-Identifier: Apache-2.0
#include "lines/set_scale_line_style_command.h"

namespace Commands {

// Required: a scale of 0 gives what dividing by 0 gives.
void SetScaleLineStyleCommand::ApplyToDescriptor(Kernel::Counted<Renderer::LineStyleDescriptor> descriptor,
                                                 double scale) {
    auto const style =
        descriptor->GetLineStyle() ? descriptor->GetLineStyle()->Clone() : Kernel::MakeCounted<Renderer::LineStyle>();
    double const weight = style->GetWeightOrZero();
    if (descriptor->GetScaleWithObject() && !m_scale)
        style->SetWeight(weight * scale);
    else if (!descriptor->GetScaleWithObject() && m_scale)
        style->SetWeight(weight / scale);
    descriptor->SetLineStyle(Kernel::Consolidated<Renderer::LineStyle>(style));
    descriptor->SetScaleWithObject(m_scale);
}

void SetScaleLineStyleCommand::TakeArguments(BaseSetLineDescriptorCommand const& newer) {
    m_scale = static_cast<SetScaleLineStyleCommand const&>(newer).m_scale;
}

} // namespace Commands

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/stored_class.h"
#include "platform/kernel/string.h"

#include <vector>

namespace EPub {

// How a publication may be read, and by whom, as its package says it (EPUB Accessibility 1.1, section 2). The words are
// those of the accessibility properties of schema.org. An immutable value once it is shared.
class REDRAFT_ENGINE AccessibilityMetadata final
    : public Kernel::StoredClass<AccessibilityMetadata, Kernel::Serialisable> {
public:
    struct Values {
        // The senses that the content is made for, such as "textual" and "visual".
        std::vector<Kernel::String> accessModes;
        // Sets of senses with which all of it can be read; each set with commas between.
        std::vector<Kernel::String> sufficientAccessModes;
        // Such as "alternativeText" and "tableOfContents".
        std::vector<Kernel::String> features;
        // Such as "flashing"; "none" where there are none.
        std::vector<Kernel::String> hazards;
        // For people.
        Kernel::String summary;
        // The standard that the publication conforms to, and who says so. Empty: nobody does.
        Kernel::String conformsTo, certifiedBy;
        static constexpr Kernel::ClassUID GetClassUID() { return {"AccV"}; }
        static constexpr auto Fields() {
            using This = Values;
            return Kernel::FieldList{
                Kernel::Field{"Mode", &This::accessModes}, Kernel::Field{"Suff", &This::sufficientAccessModes},
                Kernel::Field{"Feat", &This::features},    Kernel::Field{"Hzrd", &This::hazards},
                Kernel::Field{"Summ", &This::summary},     Kernel::Field{"Conf", &This::conformsTo},
                Kernel::Field{"Cert", &This::certifiedBy}};
        }
        friend bool operator==(Values const&, Values const&) = default;
    };
    explicit AccessibilityMetadata(Values values) : m_values(std::move(values)) {}
    Values const& Get() const { return m_values; }

    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    friend struct Kernel::FieldAccess;
    AccessibilityMetadata() = default;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"Valu", &AccessibilityMetadata::m_values}};
    }

    Values m_values;
};

} // namespace EPub

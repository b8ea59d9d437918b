// SPDX-License-Identifier: Apache-2.0
// Registers the classes of all chapters while the library is loaded.
#include "frame/class_list.h"
#include "articles/class_list.h"
#include "class_order.h"
#include "contents/class_list.h"
#include "generative/class_list.h"
#include "index/class_list.h"
#include "lines/class_list.h"
#include "merge/class_list.h"
#include "publishing/class_list.h"
#include "raster/class_list.h"
#include "shapes/class_list.h"
#include "text/class_list.h"

#include <algorithm>
#include <iterator>

namespace {

class Registrations {
public:
    Registrations() {
        std::vector<ListedClass> classes;
        for (auto const& chapter :
             {Commands::GetFrameClasses(), Commands::GetArticlesClasses(), Commands::GetIndexClasses(),
              Commands::GetLinesClasses(), Commands::GetRasterClasses(), Commands::GetShapesClasses(),
              Commands::GetTextClasses(), Commands::GetContentsClasses(), Commands::GetPublishingClasses(),
              Commands::GetMergeClasses(), Commands::GetGenerativeClasses()})
            classes.insert(classes.end(), chapter.begin(), chapter.end());
        auto const position = [](ListedClass const& listed) {
            return std::find(std::begin(c_classOrder), std::end(c_classOrder), listed.name) - std::begin(c_classOrder);
        };
        std::stable_sort(classes.begin(), classes.end(),
                         [&](auto const& a, auto const& b) { return position(a) < position(b); });
        for (auto const& listed : classes)
            m_registered.push_back(listed.registerClass());
    }
    Registrations(Registrations const&) = delete;
    Registrations& operator=(Registrations const&) = delete;
    ~Registrations() {
        while (!m_registered.empty())
            m_registered.pop_back();
    }

private:
    std::vector<std::shared_ptr<void>> m_registered;
};

Registrations const s_registrations;

} // namespace

// SPDX-License-Identifier: Apache-2.0
#include "platform/document/localisable_string_manager.h"

#include "platform/document/document_controller.h"
#include "platform/story/story_index.h"

#include <algorithm>
#include <string_view>

namespace {

struct Words {
    std::string_view language, key, words;
};

constexpr Words c_words[] = {
    {"en", "contents", "Contents"},
    {"en", "cover", "Cover"},
    {"en", "landmarks", "Landmarks"},
    {"en", "notes", "Notes"},
    {"en", "pages", "Pages"},
    {"de", "contents", "Inhalt"},
    {"de", "cover", "Umschlag"},
    {"de", "landmarks", "Orientierungspunkte"},
    {"de", "notes", "Anmerkungen"},
    {"de", "pages", "Seiten"},
    {"el", "contents", "Περιεχόμενα"},
    {"el", "cover", "Εξώφυλλο"},
    {"el", "landmarks", "Ορόσημα"},
    {"el", "notes", "Σημειώσεις"},
    {"el", "pages", "Σελίδες"},
    {"es", "contents", "Índice"},
    {"es", "cover", "Cubierta"},
    {"es", "landmarks", "Puntos de referencia"},
    {"es", "notes", "Notas"},
    {"es", "pages", "Páginas"},
    {"fr", "contents", "Table des matières"},
    {"fr", "cover", "Couverture"},
    {"fr", "landmarks", "Repères"},
    {"fr", "notes", "Notes"},
    {"fr", "pages", "Pages"},
    {"he", "contents", "תוכן העניינים"},
    {"he", "cover", "כריכה"},
    {"he", "landmarks", "ציוני דרך"},
    {"he", "notes", "הערות"},
    {"he", "pages", "עמודים"},
    {"hi", "contents", "विषय सूची"},
    {"hi", "cover", "आवरण"},
    {"hi", "landmarks", "मुख्य स्थान"},
    {"hi", "notes", "टिप्पणियाँ"},
    {"hi", "pages", "पृष्ठ"},
    {"it", "contents", "Indice"},
    {"it", "cover", "Copertina"},
    {"it", "landmarks", "Punti di riferimento"},
    {"it", "notes", "Note"},
    {"it", "pages", "Pagine"},
    {"ja", "contents", "目次"},
    {"ja", "cover", "表紙"},
    {"ja", "landmarks", "ランドマーク"},
    {"ja", "notes", "注"},
    {"ja", "pages", "ページ"},
};

} // namespace

void LocalisableStringManager::LookupString(Kernel::Counted<DocumentController const> const& document,
                                            Kernel::Counted<Story::Language const> const& language,
                                            Kernel::String const& key, Story::GlyphString& words) {
    words = {};
    auto const identifier = language ? language->GetIdentifier() : Kernel::String();
    if (auto const node = document ? document->GetDocument() : Kernel::JailCounted<DocumentNode>()) {
        auto const& index = node->GetIndex();
        auto const* own = index.GetString(key, identifier);
        if (own == nullptr)
            own = index.GetString(key);
        if (own != nullptr) {
            words = *own;
            return;
        }
    }
    auto name = identifier.ToStdString();
    name.resize(std::min(name.find_first_of("-_"), name.size()));
    std::ranges::transform(name, name.begin(),
                           [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    if (name.empty())
        name = "en";
    auto const* const found = std::ranges::find_if(
        c_words, [&](Words const& entry) { return entry.language == name && entry.key == key.view(); });
    if (found != std::end(c_words))
        words = Story::GlyphString(Kernel::String(found->words));
}

// SPDX-License-Identifier: Apache-2.0
#include "engine/learning/picture_files.h"
#include "engine/learning/service_back_ends.h"
#include "platform/kernel/exception.h"
#include "platform/raster/codec.h"
#include "platform/raster/dynamic_bitmap.h"

namespace Learning {

namespace {

// The server of rembg (github.com/danielgatis/rembg): a form with the picture in, a PNG out whose alpha is the matte.
class RembgRemover final : public MatteRemover {
public:
    explicit RembgRemover(ServiceOptions const& options) : m_session(options) {}

protected:
    RemoteInference::Result FindMatte(Raster::BufferRGBA8 const& picture, Matte& matte,
                                      InferenceCall const& call) override {
        try {
            return Ask(picture, matte, call);
        } catch (Kernel::AbortException const&) {
            return {RemoteInference::Cancelled, "cancelled"};
        }
    }

private:
    RemoteInference::Result Ask(Raster::BufferRGBA8 const& picture, Matte& matte, InferenceCall const& call) {
        HttpRequest request{m_session.GetUrl("/api/remove"), {}, {}};
        // Without alpha, so that the answer's is the matte alone.
        request.form.push_back({"file", "image.png", "image/png", EncodePicture(picture, PngContent::OverWhite, call)});
        if (!m_session.GetOptions().model.empty())
            request.form.push_back({"model", {}, {}, m_session.GetOptions().model});
        auto const answer = m_session.Send(request, call);
        if (answer.failure.code != RemoteInference::Answered)
            return answer.failure;
        if (auto refusal = CheckStatus(answer, m_session); refusal.code != RemoteInference::Answered)
            return refusal;
        if (answer.body.empty())
            return FailFor(m_session, RemoteInference::BadAnswer, "the answer is empty");
        Kernel::Counted<Raster::DynamicBitmap> found;
        PictureReader reader(call);
        auto const file = std::as_bytes(std::span(answer.body));
        auto result = NameService(reader.Read(file, found), m_session);
        if (result.code != RemoteInference::Answered)
            return result;
        if (found->GetSize() != picture.GetSize())
            return FailFor(m_session, RemoteInference::BadAnswer,
                           "the picture of the answer is not of the size of the one sent");
        if (!Raster::ReadImageInfo(file).hasAlpha)
            return FailFor(m_session, RemoteInference::BadAnswer, "the picture of the answer has no alpha");
        Raster::ConvertPixels(*found->GetBase(), found->GetBounds(), matte,
                              *Raster::PixelConverter::MakePlain(found->GetFormat(), Raster::FormatA8));
        return {};
    }

    HttpSession m_session;
};

} // namespace

Kernel::Counted<BackgroundRemover> MakeRembgRemover(ServiceOptions const& options) {
    return Kernel::Counted<BackgroundRemover>(new RembgRemover(options));
}

} // namespace Learning

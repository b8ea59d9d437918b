// SPDX-License-Identifier: Apache-2.0
#include "platform/geometry/path_data.h"

#include "engine/geometry/deterministic_math.h"
#include "platform/geometry/shapes.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <optional>

namespace Geometry {

namespace {

// The powers of ten that a double holds exactly.
constexpr double c_powersOfTen[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                    1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f'; }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }
char ToLower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

class Reader {
public:
    explicit Reader(std::string_view text) : m_text(text) {}

    PathData Read() {
        SkipSpace();
        if (m_at != m_text.size() && m_text[m_at] != 'M' && m_text[m_at] != 'm')
            Fail("path data starts with M or m");
        while (!m_error && m_at != m_text.size())
            ReadCommand();
        FinishCurve();
        return {m_curves, m_error};
    }

private:
    void Fail(char const* message) {
        if (!m_error)
            m_error = PathDataError{m_at, message};
    }

    void SkipSpace() {
        while (m_at != m_text.size() && IsSpace(m_text[m_at]))
            ++m_at;
    }

    // Returns true when a comma was there.
    bool SkipSeparator() {
        SkipSpace();
        if (m_at == m_text.size() || m_text[m_at] != ',')
            return false;
        ++m_at;
        SkipSpace();
        return true;
    }

    bool IsAtNumber() const {
        return m_at != m_text.size() &&
               (IsDigit(m_text[m_at]) || m_text[m_at] == '.' || m_text[m_at] == '-' || m_text[m_at] == '+');
    }

    // The end of the number at m_at by the grammar; m_at itself when there is none.
    std::size_t FindNumberEnd() const {
        std::size_t i = m_at;
        auto const digits = [&] {
            std::size_t const before = i;
            while (i != m_text.size() && IsDigit(m_text[i]))
                ++i;
            return i - before;
        };
        if (i != m_text.size() && (m_text[i] == '+' || m_text[i] == '-'))
            ++i;
        std::size_t count = digits();
        if (i != m_text.size() && m_text[i] == '.') {
            ++i;
            count += digits();
        }
        if (count == 0)
            return m_at;
        std::size_t const mantissaEnd = i;
        if (i != m_text.size() && (m_text[i] == 'e' || m_text[i] == 'E')) {
            ++i;
            if (i != m_text.size() && (m_text[i] == '+' || m_text[i] == '-'))
                ++i;
            if (digits() == 0)
                i = mantissaEnd;
        }
        return i;
    }

    // Most numbers are an integer below 2^53 over a power of ten that a double holds exactly: one division rounds them
    // right (W. D. Clinger, "How to read floating point numbers accurately", 1990). Of others nothing is read.
    std::optional<double> ReadShortNumber() {
        // Ten times a number below the limit stays far below 2^53.
        constexpr std::uint64_t c_limit = 100'000'000'000'000;
        char const* at = m_text.data() + m_at;
        char const* const end = m_text.data() + m_text.size();
        bool const negative = at != end && *at == '-';
        if (at != end && (*at == '-' || *at == '+'))
            ++at;
        std::uint64_t digits = 0;
        char const* const first = at;
        for (; at != end && IsDigit(*at) && digits < c_limit; ++at)
            digits = 10 * digits + static_cast<std::uint64_t>(*at - '0');
        std::ptrdiff_t count = at - first, decimals = 0;
        if (at != end && *at == '.') {
            char const* const point = ++at;
            for (; at != end && IsDigit(*at) && digits < c_limit; ++at)
                digits = 10 * digits + static_cast<std::uint64_t>(*at - '0');
            decimals = at - point;
            count += decimals;
        }
        if (count == 0 || decimals >= std::ssize(c_powersOfTen) || (at != end && (IsDigit(*at) || (*at | 0x20) == 'e')))
            return std::nullopt;
        m_at = static_cast<std::size_t>(at - m_text.data());
        double const value = static_cast<double>(digits) / c_powersOfTen[decimals];
        return negative ? -value : value;
    }

    double ReadNumber() {
        if (m_error)
            return 0;
        // Written data has no sign of zero.
        if (auto const number = ReadShortNumber())
            return *number + 0.0;
        std::size_t const end = FindNumberEnd();
        if (end == m_at) {
            Fail("a number is missing");
            return 0;
        }
        std::size_t const begin = m_at + (m_text[m_at] == '+' ? 1 : 0);
        double value = 0;
        auto const result = std::from_chars(m_text.data() + begin, m_text.data() + end, value);
        if (result.ec == std::errc::result_out_of_range) {
            // Out of range both ways: what is too small to tell from zero is zero.
            if (!IsTooSmall(m_text.substr(begin, end - begin))) {
                Fail("a number is too large");
                return 0;
            }
            value = 0;
        }
        m_at = end;
        return value + 0.0;
    }

    // Of a number that is out of range: whether its magnitude lies below the range and not above.
    static bool IsTooSmall(std::string_view number) {
        if (auto const e = number.find_first_of("eE"); e != std::string_view::npos)
            return number[e + 1] == '-';
        auto const first = number.find_first_of("123456789");
        return first != std::string_view::npos && number.find('.') < first;
    }

    PointDbl ReadPoint(bool relative) {
        double const x = ReadNumber();
        SkipSeparator();
        double const y = ReadNumber();
        return relative ? PointDbl{m_current.x + x, m_current.y + y} : PointDbl{x, y};
    }

    bool ReadFlag() {
        if (m_error)
            return false;
        if (m_at == m_text.size() || (m_text[m_at] != '0' && m_text[m_at] != '1')) {
            Fail("an arc's flag is 0 or 1");
            return false;
        }
        return m_text[m_at++] == '1';
    }

    bool Check(std::size_t at, std::initializer_list<PointDbl> points) {
        for (PointDbl const& p : points) {
            if (!m_error && (!std::isfinite(p.x) || !std::isfinite(p.y))) {
                m_at = at;
                Fail("a coordinate is too large");
            }
        }
        return !m_error;
    }

    void FinishCurve() {
        if (!m_curve)
            return;
        // A start without a segment draws nothing; closed, it is a dot for round and square caps.
        if (m_curve->GetSegmentCount() != 0 || m_curve->IsClosed()) {
            m_curve->ShrinkToFit();
            m_curves->AddCurve(m_curve);
        }
        m_curve = nullptr;
    }

    // After Z the next drawing command starts where the closed contour did.
    CurveDbl& GetOpenCurve() {
        if (!m_curve) {
            m_curve = Kernel::MakeCounted<CurveDbl>();
            m_curve->MoveTo(m_current);
        }
        return *m_curve;
    }

    void ReadCommand() {
        char const command = m_text[m_at];
        char const lower = ToLower(command);
        if (std::string_view("mzlhvcsqta").find(lower) == std::string_view::npos)
            return Fail("this is no command");
        ++m_at;
        SkipSpace();
        if (lower == 'z') {
            Close();
            return;
        }
        bool const relative = command == lower;
        bool first = true;
        do {
            std::size_t const at = m_at;
            if (lower == 'm' && first)
                MoveTo(at, relative);
            else
                Draw(lower == 'm' ? 'l' : lower, at, relative);
            first = false;
            if (m_error)
                return;
            bool const comma = SkipSeparator();
            if (comma && !IsAtNumber())
                return Fail("a number is missing after the comma");
        } while (IsAtNumber());
    }

    void Close() {
        if (!m_curve)
            return;
        m_curve->Close();
        m_current = m_curve->GetStart();
        FinishCurve();
        m_lastControl = m_current;
        m_lastKind = 'z';
    }

    void MoveTo(std::size_t at, bool relative) {
        PointDbl const p = ReadPoint(relative);
        if (!Check(at, {p}))
            return;
        FinishCurve();
        m_current = p;
        m_lastKind = 'm';
        GetOpenCurve();
    }

    void Draw(char kind, std::size_t at, bool relative) {
        switch (kind) {
        case 'l':
            return LineTo(at, ReadPoint(relative), kind);
        case 'h': {
            double const x = ReadNumber();
            return LineTo(at, {relative ? m_current.x + x : x, m_current.y}, kind);
        }
        case 'v': {
            double const y = ReadNumber();
            return LineTo(at, {m_current.x, relative ? m_current.y + y : y}, kind);
        }
        case 'c':
        case 's': {
            PointDbl const control1 = kind == 'c' ? ReadPoint(relative) : Reflected('c', 's');
            if (kind == 'c')
                SkipSeparator();
            PointDbl const control2 = ReadPoint(relative);
            SkipSeparator();
            PointDbl const end = ReadPoint(relative);
            if (!Check(at, {control1, control2, end}))
                return;
            GetOpenCurve().CubicTo(control1, control2, end);
            return Advance(kind, control2, end);
        }
        case 'q':
        case 't': {
            PointDbl const control = kind == 'q' ? ReadPoint(relative) : Reflected('q', 't');
            if (kind == 'q')
                SkipSeparator();
            PointDbl const end = ReadPoint(relative);
            if (!Check(at, {control, end}))
                return;
            GetOpenCurve().QuadraticTo(control, end);
            return Advance(kind, control, end);
        }
        default:
            return Arc(at, relative);
        }
    }

    void LineTo(std::size_t at, PointDbl end, char kind) {
        if (!Check(at, {end}))
            return;
        GetOpenCurve().LineTo(end);
        Advance(kind, end, end);
    }

    PointDbl Reflected(char kind1, char kind2) const {
        if (m_lastKind != kind1 && m_lastKind != kind2)
            return m_current;
        return {2 * m_current.x - m_lastControl.x, 2 * m_current.y - m_lastControl.y};
    }

    void Advance(char kind, PointDbl control, PointDbl end) {
        m_lastKind = kind;
        m_lastControl = control;
        m_current = end;
    }

    void Arc(std::size_t at, bool relative) {
        double rx = std::fabs(ReadNumber());
        SkipSeparator();
        double ry = std::fabs(ReadNumber());
        SkipSeparator();
        double const rotation = ReadNumber();
        SkipSeparator();
        bool const large = ReadFlag();
        SkipSeparator();
        bool const sweep = ReadFlag();
        SkipSeparator();
        PointDbl const end = ReadPoint(relative);
        if (!Check(at, {end}))
            return;
        if (end == m_current)
            return Advance('a', end, end);
        if (rx == 0 || ry == 0)
            return LineTo(at, end, 'a');

        // SVG 1.1, F.6.5: in a frame where the ellipse is the unit circle, the centre lies on the bisector of the
        // chord.
        Transform const turn = Transform::Rotation(std::fmod(rotation, 360) * (Detail::c_pi / 180));
        PointDbl const half = turn.GetInverse().Apply({(m_current.x - end.x) / 2, (m_current.y - end.y) / 2});
        PointDbl unit{half.x / rx, half.y / ry};
        double const reach = unit.x * unit.x + unit.y * unit.y;
        double offset = 0;
        if (reach > 1) {
            // F.6.6: radii that do not reach are grown until they just do.
            double const factor = std::sqrt(reach);
            rx *= factor;
            ry *= factor;
            unit = {unit.x / factor, unit.y / factor};
        } else {
            // So short a chord of so large a circle is a straight line to a double.
            if (!(reach > 1e-24))
                return LineTo(at, end, 'a');
            offset = std::sqrt((1 - reach) / reach) * (large == sweep ? -1 : 1);
        }
        PointDbl const centre{offset * unit.y, -offset * unit.x};
        double const start = Detail::ArcTangent(unit.y - centre.y, unit.x - centre.x);
        double const stop = Detail::ArcTangent(-unit.y - centre.y, -unit.x - centre.x);
        double angle = stop - start;
        if (sweep && angle < 0)
            angle += 2 * Detail::c_pi;
        if (!sweep && angle > 0)
            angle -= 2 * Detail::c_pi;
        Transform const circle = Transform::Translation((m_current.x + end.x) / 2, (m_current.y + end.y) / 2) * turn *
                                 Transform::Scale(rx, ry) * Transform::Translation(centre.x, centre.y);
        CurveDbl arc;
        arc.MoveTo(m_current);
        AppendArc(arc, circle, start, angle);
        for (PointDbl const& p : arc.GetPoints()) {
            if (!Check(at, {p}))
                return;
        }
        // The arc ends where the text says, not where rounding led.
        std::size_t left = arc.GetSegmentCount();
        for (Segment const& s : arc.GetSegments())
            GetOpenCurve().CubicTo(s.control1, s.control2, --left == 0 ? end : s.end);
        Advance('a', end, end);
    }

    std::string_view m_text;
    std::size_t m_at = 0;
    std::optional<PathDataError> m_error;
    Kernel::Counted<PolyCurveDbl> m_curves = Kernel::MakeCounted<PolyCurveDbl>();
    Kernel::Counted<CurveDbl> m_curve;
    PointDbl m_current, m_lastControl;
    char m_lastKind = 'm';
};

} // namespace

PathData ReadPathData(std::string_view text) { return Reader(text).Read(); }

} // namespace Geometry

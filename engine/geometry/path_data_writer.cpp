// SPDX-License-Identifier: Apache-2.0
#include "platform/geometry/path_data.h"

#include "platform/kernel/exception.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace Geometry {

namespace {

class Writer {
public:
    explicit Writer(int digits) : m_digits(std::min(digits, 17)) {}

    void Write(CurveDbl const& curve) {
        if (curve.empty())
            return;
        Command('M');
        Point(curve.GetStart());
        // A line command may follow a move without its letter.
        m_command = 'L';
        bool const hasClosingLine = curve.IsClosed() && curve.GetPoints().back() != curve.GetStart();
        std::size_t left = curve.GetSegmentCount();
        bool endsInLine = false;
        for (Segment const& s : curve.GetSegments()) {
            if (--left == 0 && hasClosingLine)
                break;
            Write(s);
            endsInLine = s.kind == SegmentKind::Line;
        }
        // Of lines that lead back to the start one is taken for the closing one.
        if (curve.IsClosed() && endsInLine && !hasClosingLine)
            Write(Segment::Line(curve.GetStart(), curve.GetStart()));
        if (curve.IsClosed())
            Command('Z');
    }

    std::string Take() { return std::move(m_text); }

private:
    void Write(Segment const& s) {
        if (s.kind == SegmentKind::Cubic) {
            Command('C');
            Point(s.control1);
            Point(s.control2);
            Point(s.end);
        } else if (s.start.y == s.end.y && s.start.x != s.end.x) {
            Command('H');
            Number(s.end.x);
        } else if (s.start.x == s.end.x && s.start.y != s.end.y) {
            Command('V');
            Number(s.end.y);
        } else {
            Command('L');
            Point(s.end);
        }
    }

    void Command(char command) {
        if (command == m_command)
            return;
        m_text += command;
        m_command = command;
    }

    void Point(PointDbl p) {
        Number(p.x);
        Number(p.y);
    }

    void Number(double value) {
        if (!std::isfinite(value))
            throw Kernel::Exception("path data cannot hold a coordinate that is not finite");
        // Fixed notation of the largest double takes 309 digits.
        char buffer[340];
        value = value == 0 ? 0 : value;
        auto const end = m_digits < 0
                             ? std::to_chars(buffer, std::end(buffer), value).ptr
                             : std::to_chars(buffer, std::end(buffer), value, std::chars_format::fixed, m_digits).ptr;
        std::string_view number(buffer, static_cast<std::size_t>(end - buffer));
        if (m_digits > 0) {
            number.remove_suffix(number.size() - 1 - number.find_last_not_of('0'));
            if (number.back() == '.')
                number.remove_suffix(1);
        }
        if (number == "-0")
            number = "0";
        char const last = m_text.back();
        bool const afterNumber = (last >= '0' && last <= '9') || last == '.';
        if (afterNumber && number.front() != '-')
            m_text += ' ';
        m_text += number;
    }

    int m_digits;
    char m_command = 0;
    std::string m_text;
};

} // namespace

std::string WritePathData(PolyCurveDbl const& curves, int digits) {
    Writer writer(digits);
    for (auto const& curve : curves.GetCurves())
        writer.Write(*curve);
    return writer.Take();
}

} // namespace Geometry

#include "host/timeline/OtioStrip.h"

#include <utility>

namespace Tarsel::Host {

namespace {

Ratio Forwards(Ratio const& speed) {
    return {speed.numerator() < 0 ? -speed.numerator() : speed.numerator(), speed.denominator()};
}

}  // namespace

void CutFront(OtioPiece& piece, ExactTime const& time) {
    piece.begin = piece.begin + time;
    // Backwards, the front is the end of the range.
    if (piece.speed.numerator() > 0) piece.sourceBegin = piece.sourceBegin + time * piece.speed;
}

void CutBack(OtioPiece& piece, ExactTime const& time) {
    piece.end = piece.end - time;
    if (piece.speed.numerator() < 0) piece.sourceBegin = piece.sourceBegin + time * Forwards(piece.speed);
}

void Append(OtioStrip& strip, OtioStrip part) {
    std::size_t const first = strip.pieces.size();
    for (OtioPiece& piece : part.pieces) {
        piece.begin = piece.begin + strip.length;
        piece.end = piece.end + strip.length;
        strip.pieces.push_back(std::move(piece));
    }
    for (OtioJoint& joint : part.joints) {
        joint.left += first;
        strip.joints.push_back(std::move(joint));
    }
    strip.length = strip.length + part.length;
}

OtioStrip Trimmed(OtioStrip strip, ExactTime const& begin, ExactTime const& length, std::vector<OtioJoint>& lost) {
    ExactTime const end = begin + length;
    OtioStrip trimmed;
    trimmed.length = length;
    auto joint = strip.joints.begin();
    for (std::size_t i = 0; i < strip.pieces.size(); ++i) {
        OtioPiece& piece = strip.pieces[i];
        ExactTime const cut = piece.end;
        for (; joint != strip.joints.end() && joint->left == i; ++joint) {
            bool const inside = begin < cut && cut < end;
            if (!inside || cut - joint->before < begin || end < cut + joint->after) {
                lost.push_back(std::move(*joint));
                continue;
            }
            // Both sides of it are in the range, so the piece is the next to be entered.
            joint->left = trimmed.pieces.size();
            trimmed.joints.push_back(std::move(*joint));
        }
        if (!(begin < piece.end && piece.begin < end)) continue;
        if (piece.begin < begin) CutFront(piece, begin - piece.begin);
        if (end < piece.end) CutBack(piece, piece.end - end);
        piece.begin = piece.begin - begin;
        piece.end = piece.end - begin;
        trimmed.pieces.push_back(std::move(piece));
    }
    return trimmed;
}

}  // namespace Tarsel::Host

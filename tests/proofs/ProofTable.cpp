#include "tests/proofs/ProofTable.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace Tarsel::Test {

bool LeftOut::Holds(Host::NodeId node) const {
    return all || std::find(nodes.begin(), nodes.end(), node) != nodes.end();
}

namespace {

LeftOut All(std::string why) {
    return {{}, true, std::move(why)};
}

LeftOut Nodes(std::vector<Host::NodeId> nodes, std::string why) {
    return {std::move(nodes), false, std::move(why)};
}

constexpr char REPEATS[] = "a repeat keeps the item that it read first, and its count, through seeks";
constexpr char LAST_OF_CACHE[] = "a seek to the end gives a cache's last item, which a straight run doesn't";
constexpr char SHARED_CACHE[] = "what two streams of one cache give, the output alone may read";
constexpr char OVERLAYS[] =
    "a drawn stream with a start is absent for as long behind every seek, and one that blinks goes on from its last "
    "change";
constexpr char OFF_THE_GRID[] = "a seek between the grid's places shows the picture of the very time";
constexpr char FIRST_BLOCK[] = "the first block is what is repeated, however long it is";
constexpr char TWO_PASSES[] = "the source is read by a pass of its own, ahead of the seeks";

std::vector<Proof> MakeProofs() {
    std::vector<Proof> proofs;
    auto const add = [&](std::string name, std::string in = {}, std::string in2 = {}) -> Proof& {
        return proofs.emplace_back(Proof{std::move(name), std::move(in), std::move(in2)});
    };
    Proof& cache = add("cache", "film.mkv");
    cache.landings = Nodes({11}, LAST_OF_CACHE);
    cache.blocks = All(SHARED_CACHE);
    add("crop", "bars.mkv").seeks = Nodes({1}, TWO_PASSES);
    add("crop-part", "film.mkv");
    add("cut", "film.mkv");
    add("cut-packets", "packets-a.mp4").seeks = Nodes({1}, "a cut reads around its places anew behind each seek");
    add("data-cache", "film.mkv");
    add("deinterlace", "interlaced.mkv").landings =
        Nodes({3}, "the first picture behind a seek is made without the one in front of it");
    add("effects", "film.mkv").blocks = Nodes(
        {704}, "a product halfway between two values is rounded by the last bit of a time that counts from its block");
    add("frame-rate", "film.mkv").landings = Nodes({3}, OFF_THE_GRID);
    add("frame-rate-adjust", "uneven.mkv");
    add("frame-rate-dedicated", "film.mkv").landings = Nodes({3}, OFF_THE_GRID);
    add("framing", "packets-a.mp4");
    add("intro-loop-outro", "film.mkv");
    add("join", "film.mkv", "second.mkv");
    add("join-packets", "packets-a.mp4", "packets-b.mp4");
    add("level", "film.mkv").seeks = Nodes({1, 2}, TWO_PASSES);
    add("linked", "film.mkv", "second.mkv");
    Proof& linkedSeek = add("linked-seek", "film.mkv");
    linkedSeek.landings = Nodes({21}, LAST_OF_CACHE);
    linkedSeek.blocks = All(SHARED_CACHE);
    add("loop", "film.mkv");
    add("lossless", "packets-a.mp4");
    add("metadata", "film.mkv");
    add("mix", "film.mkv", "second.mkv");
    add("overlay", "film.mkv", "plate.mkv").caches =
        Nodes({3}, "a stream of one item is empty behind a cache, so that it is read without one");
    Proof& pictureInPicture = add("picture-in-picture", "wide.mkv", "second.mkv");
    pictureInPicture.seeks = Nodes({3, 4, 11, 12, 13}, OVERLAYS);
    pictureInPicture.landings = Nodes({13}, OVERLAYS);
    add("repeat", "film.mkv").seeks = All(REPEATS);
    add("repeat-controller", "film.mkv").blocks = Nodes({712}, FIRST_BLOCK);
    Proof& repeatDedicated = add("repeat-dedicated", "film.mkv");
    repeatDedicated.seeks = All(REPEATS);
    repeatDedicated.blocks = Nodes({704}, FIRST_BLOCK);
    add("resample", "film.mkv").fast = Nodes({2, 3}, "the resampler adds up floats in another order");
    add("resample-dedicated", "film.mkv");
    add("resize", "film.mkv");
    add("resize-dedicated", "film.mkv");
    add("reverse", "film.mkv");
    add("spectrum", "film.mkv").landings = Nodes({4}, "a spectrum begins with the samples at the place that is sought");
    add("speed", "film.mkv").besides = Besides::Pitch;
    add("subtitle", "wide.mkv", "shapes.ass").besides = Besides::Titles;
    add("subtitle-bitmap", "bitmaps.mkv").landings =
        Nodes({13}, "a picture in which a seek ends begins later, where a title may be seen already");
    add("tone");
    add("transparent-border", "clear.mkv");
    add("trim", "film.mkv");
    add("trim-subtitle", "texts.mkv");
    add("volume", "film.mkv");
    add("volume-auto", "quiet.mkv").blocks = Nodes({704}, "the gain follows the peaks of the blocks");
    return proofs;
}

}  // namespace

std::vector<Proof> const& Proofs() {
    static std::vector<Proof> const proofs = MakeProofs();
    return proofs;
}

Proof const& ProofOf(std::string const& name) {
    for (Proof const& proof : Proofs())
        if (proof.name == name) return proof;
    throw std::out_of_range("there is no record of " + name);
}

}  // namespace Tarsel::Test

// What a composition may have at most. Beyond a limit nothing is allocated in the host: where a
// composition wants too much, the caller or the frame is told so; what no player of ours would send
// is a lie and ends the contact.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace vuo {

// ---- messages between a host and a player

/// Of one message, in either direction. That of a frame takes some hundred bytes, so there is room
/// for thousands of ports or a long text; a host with hundreds of players can hold one for each.
constexpr std::size_t longestMessage = std::size_t{1} << 20;
/// From a message's first byte to its last. They are sent at once, so only a machine that has come
/// to a standstill takes longer, or somebody who means to hold the reader up.
constexpr std::chrono::milliseconds wholeMessagePatience{10'000};
/// Of the entries of any list in a message: ports, or what belongs to one.
constexpr std::size_t mostListed = 4096;
/// Of the words that tell of a fault: they go to a log.
constexpr std::size_t longestFault = std::size_t{4} << 10;
/// Faults that one event can tell of besides its outputs'. A composition has some dozens of nodes.
constexpr std::size_t mostFaultsPerEvent = 256;
/// Of a text that goes in: what fits a message of its own.
constexpr std::size_t longestText = longestMessage - 64;
/// All texts and faults that a composition's outputs have at one time; the host keeps them.
constexpr std::size_t textOfAScene = std::size_t{8} << 20;

// ---- text that is set as a picture

/// In bytes. A screen that can be read has some hundred letters; the worst text of this length that
/// was tried takes a tenth of a second.
constexpr std::size_t longestSetText = std::size_t{8} << 10;
/// All its letters side by side, in pixels: Pango counts in 1024ths of one, with 32 bits.
constexpr double longestSetLine = 1 << 20;
/// Of combining marks on one letter; no script stacks more, and the time grows with their square.
constexpr int mostMarks = 30;
constexpr std::size_t longestFontName = 256;
/// Of what one node tells besides faults, such as fonts that are not there.
constexpr std::size_t mostWarnings = 16;
/// Of a text file that comes in by a published input.
constexpr std::size_t longestTextFile = longestText;

// ---- events

/// Those that wait. A composition this many behind its host does not catch up with what it shows.
constexpr std::size_t mostWaitingEvents = 256;
/// Those that a player was sent and has not reported the end of. It drops those that wait beyond
/// its limit, but can say so only when the event that it is at has ended.
constexpr std::size_t mostOpenEvents = 4 * mostWaitingEvents;

// ---- pictures, of four bytes a pixel

/// Of one picture. A square of 8192 pixels, four times a 4K frame; many drivers stop there as well.
constexpr std::size_t largestPicture = std::size_t{256} << 20;
/// All textures that one composition uses at a time, and what is on the way to and from its
/// process: room for seven of the largest pictures, or 250 of 1920x1080.
constexpr std::size_t picturesOfAScene = std::size_t{2} << 30;
/// Input pictures that a player was sent and has not taken. Each holds a descriptor, of which a
/// process has 1024 where nobody has asked for more.
constexpr std::size_t mostPicturesUnderWay = 64;
/// Textures that a player is lent to draw in, and others that the pictures of its inputs lie in.
/// Each holds a descriptor as well. Beyond them pictures go through memory.
constexpr std::size_t mostLentTextures = 64;
constexpr std::size_t mostInputTextures = 64;
/// Input pictures in textures that a player was named and has not left.
constexpr std::size_t mostNamedPictures = 256;
/// With these beside the frames of one event, drawing goes on while the host takes frames in.
constexpr std::size_t spareBuffers = 2;

}  // namespace vuo

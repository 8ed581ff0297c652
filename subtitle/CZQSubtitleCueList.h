// The cues of one track, in the order in which they arrived.
#pragma once

#include <cstddef>
#include <cstdint>

#include "support/CRefObject.h"
#include "zqplatform/comptr.h"
#include "zqsubtitle/ZQSubtitle.h"

class CZQSubtitleCue;

/// An append-only list of cues owned by its track (the only reference). It
/// holds one reference per cue, in nodes taken from a pool of blocks of ten;
/// only Clear removes cues, all at once. It takes no lock: the owner object
/// holds its lock around every call, from whichever thread.
///
/// The multiplexer side fills it once and reads it through a cursor
/// (Rewind, SendNext); the demultiplexer side appends and tests all cues on
/// every pass (AddCue, UpdateActive, DeactivateAll, Clear).
class CZQSubtitleCueList final : public CRefObject<CZQSubtitleCueList> {
public:
    /// Makes an empty list; `*out` holds the caller's one reference.
    /// E_POINTER for a null `out`, E_OUTOFMEMORY; `*out` is null on failure.
    static HRESULT Create(CZQSubtitleCueList** out) noexcept;

    /// Appends a cue of `trackid` with the text up to its NUL (null reads as
    /// empty) and the interval [start, stop). Values are not tested. S_OK;
    /// raises the status exception E_OUTOFMEMORY when memory runs out, and the
    /// list is then as it was. The cursor is not touched.
    HRESULT AddCue(LONG trackid, const WCHAR* text, REFERENCE_TIME start, REFERENCE_TIME stop);
    /// The same with a counted text of `length` code units, which may hold
    /// NULs. A null `text` with a non-zero length raises E_INVALIDARG.
    HRESULT AddCue(LONG trackid, const WCHAR* text, size_t length, REFERENCE_TIME start, REFERENCE_TIME stop);

    /// Tests every cue in list order (CZQSubtitleCue::UpdateActive), so one
    /// pass fires the Inactive of a cue before the Active of a later one.
    /// The first negative status ends the pass and is returned; the cues
    /// tested so far keep their new state. Else S_OK. A callback that clears
    /// the list (the application's own thread may flush from inside an event)
    /// ends the pass too, with S_OK: the cues that were still to come are gone.
    HRESULT UpdateActive(bool selected, IZQDmxSubtitleCallback* callback, REFERENCE_TIME time);

    /// Makes every cue inactive without events; `*wasActive` becomes true if
    /// any was active and is otherwise left alone. S_OK.
    HRESULT DeactivateAll(bool* wasActive) noexcept;

    /// Sends the cue at the cursor and moves the cursor past it first, so a
    /// cue whose send failed isn't sent again. 0 when a cue went out (also
    /// for a positive status of the host), 1 when nothing is left (always so
    /// before the first Rewind), or the negative status of the send. May raise
    /// the status exception E_OUTOFMEMORY (see CZQSubtitleCue::Send).
    HRESULT SendNext(IZQMuxSubtitleControlCallback* callback);

    /// Puts the cursor on the first cue. S_OK.
    HRESULT Rewind() noexcept;

    /// Gives every cue the id (CZQSubtitleCue::SetTrackID); the first negative
    /// status ends the walk and is returned, else S_OK.
    HRESULT SetTrackID(LONG trackid) noexcept;

    /// Releases every cue and gives the pool back; a cue that somebody else
    /// still holds lives on. Fires nothing. The cursor goes back to "nothing
    /// left", as it could only point at a node that is gone.
    void Clear() noexcept;

    /// Number of cues in the list.
    uint32_t GetCount() const noexcept { return m_count; }
    /// Number of pool blocks held; each holds GetBlockSize() nodes.
    uint32_t GetBlockCount() const noexcept;
    uint32_t GetBlockSize() const noexcept { return m_blockSize; }

private:
    /// The fields that every timing pass reads come first. `start`, `stop`
    /// and `active` copy the cue's own, so that a pass reads the node alone
    /// and goes to the cue only when its state changes: a walk that visited
    /// every cue object took a cache miss per cue on a long track. The times
    /// never change after AddCue, and the list is the only caller of the
    /// cue's UpdateActive and Deactivate, which keeps `active` in step.
    struct CueNode {
        CueNode* next;
        REFERENCE_TIME start;
        REFERENCE_TIME stop;
        bool active;
        /// Written on insertion; nothing walks backwards.
        CueNode* previous;
        /// One reference, owned by the list while the node is in it.
        CZQSubtitleCue* cue;
    };

    static constexpr uint32_t kBlockSize = 10;

    /// How many blocks ahead of itself the timing walk asks for memory.
    static constexpr uint32_t kPrefetchBlocks = 8;

    /// One heap allocation of kBlockSize nodes; blocks go back all at once.
    struct CueBlock {
        /// The block made before this one.
        CueBlock* next;
        /// The block made kPrefetchBlocks blocks after this one, or null. The
        /// list's blocks lie apart on the heap and link to one another only
        /// through their last node, so this is how the walk learns in time
        /// where its memory lies further on.
        CueBlock* ahead;
        CueNode nodes[kBlockSize];
    };

    CZQSubtitleCueList() noexcept = default;
    ~CZQSubtitleCueList() override;

    /// Appends the cue and takes over the caller's reference to it, which
    /// becomes the list's own. If the node can't be had, the status exception
    /// leaves `cue` with the caller.
    void Append(CComPtr<CZQSubtitleCue>& cue);
    /// Fills the free chain with a new block; raises E_OUTOFMEMORY.
    void GrowPool();
    /// The block whose first node is `first`.
    static const CueBlock* BlockOf(const CueNode* first) noexcept;

    CueNode* m_head = nullptr;
    CueNode* m_tail = nullptr;
    uint32_t m_count = 0;
    /// Newest block first.
    CueBlock* m_blocks = nullptr;
    /// Chained through `next`.
    CueNode* m_freeNodes = nullptr;
    const uint32_t m_blockSize = kBlockSize;
    /// The node SendNext sends next; null before Rewind and at the end.
    CueNode* m_cursor = nullptr;
    /// Counts the Clears, so that a walk whose callback cleared the list
    /// doesn't step into nodes that went with it.
    uint32_t m_clears = 0;
};

// The mux command's job: subtitle files and the media of a container into
// one output container.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "hosts/ffmpeg/CByteSink.h"
#include "hosts/ffmpeg/CHostStatus.h"
#include "hosts/ffmpeg/CMuxHost.h"
#include "zqplatform/comptr.h"

class CContainerReader;
class CContainerWriter;
class COutputFile;
struct AVOutputFormat;

/// A SubRip file to add as a track, with its language and label (either may
/// be empty).
struct MuxSubtitleFile {
    std::string path;
    std::string language;
    std::string label;
};

/// What to multiplex: the media of a container (none when empty), subtitle
/// files, the output and its format (FFmpeg's short name, or empty to go by
/// the output's name).
struct MuxRequest {
    std::string media;
    std::vector<MuxSubtitleFile> subtitles;
    std::string output;
    std::string format;
};

/// One stream of the output, as written.
struct MuxStream {
    int index = 0;
    /// "video", "audio", "subtitle", ...
    std::string type;
    std::string codec;
    std::string language;
    std::string title;
    /// The file it comes from: the input media or a subtitle file.
    std::string source;
    int64_t packets = 0;
};

/// What was written.
struct MuxSummary {
    std::string output;
    std::string format;
    /// 100 ns units: the media's length, or the last cue's end.
    int64_t duration = 0;
    std::vector<MuxStream> streams;
    /// Streams of the input that were left out, and why.
    std::vector<std::string> notes;
};

/// What the caller may see and change of a session's work.
struct MuxHooks {
    /// The part of the writing done, 0 to 1: of the media's length, or of
    /// the cues when there is no media, which costs the job a run of the
    /// pump that counts them. Called on the caller's thread; leave it empty
    /// when nobody looks.
    std::function<void(double)> progress;
    /// Asked often; true stops the work as a failure, leaving nothing behind.
    std::function<bool()> interrupted;
    /// Puts a sink between the writer and the output file, as a test that
    /// makes writing fail does. The file stays the session's.
    std::function<std::unique_ptr<CByteSink>(CByteSink& file)> wrapOutput;
};

/// Multiplexes SubRip files, and the media of an input container, into one
/// output container. A multiplexer object of the module loads the files
/// (deciding each one's encoding) and pumps their cues; this session is its
/// host: it copies the media without re-encoding and interleaves them with
/// the cues by time, and writes the output beside its final name, renamed
/// into place only when it is whole. A container needs each track in time
/// order: a track whose cues turn out not to be is kept whole and sorted in
/// a second attempt at writing. A failure leaves no output and an
/// existing file of that name as it was. Used once, on one thread; the
/// object's pump is the other.
class CMuxSession {
public:
    CMuxSession();
    ~CMuxSession();
    CMuxSession(const CMuxSession&) = delete;
    CMuxSession& operator=(const CMuxSession&) = delete;

    /// Does the whole job. Failures name the file and the reason: a file
    /// given twice, an output that is also an input, an input that is no
    /// media, a subtitle file the module refuses (with the status and its
    /// text), a format that carries no text subtitles, an output that can't
    /// be written, Ctrl-C ("interrupted").
    CHostStatus Run(const MuxRequest& request, const MuxHooks& hooks, MuxSummary& summary);

private:
    CHostStatus CheckNamesInternal(const MuxRequest& request) const;
    CHostStatus LoadSubtitlesInternal(const MuxRequest& request);
    CHostStatus MakeStreamsInternal(const MuxRequest& request, MuxSummary& summary);
    CHostStatus CountCuesInternal();
    /// One attempt at writing; `again` when a track turned out of order.
    CHostStatus WriteInternal(const MuxRequest& request, bool& again);
    CHostStatus WriteMediaPacketInternal(bool& mediaEnded);
    void ReportProgressInternal(double fraction);
    bool InterruptedInternal() const;

    CMuxHost m_host;
    CComPtr<IZQMuxSubtitleControl> m_control;
    CComPtr<IZQMuxSubtitle> m_mux;
    const MuxHooks* m_hooks = nullptr;
    std::string m_output;
    // By host track: the file each came from, and its output stream.
    std::vector<std::string> m_trackSources;
    std::vector<int> m_trackStreams;
    std::vector<bool> m_tracksInOrder;
    int64_t m_totalCues = 0;
    int64_t m_lastCueStop = 0;
    std::unique_ptr<CContainerReader> m_reader;
    // By input stream: the output stream that copies it, or -1.
    std::vector<int> m_copiedStreams;
    const AVOutputFormat* m_format = nullptr;
    std::unique_ptr<COutputFile> m_file;
    std::unique_ptr<CByteSink> m_wrappedSink;
    std::unique_ptr<CContainerWriter> m_writer;
    int m_reportedPerMille = -1;
};

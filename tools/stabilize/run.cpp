#include "stabilize/run.h"

#include <iostream>

#include "stabilize/stabilizer.h"
#include "stabilize/trace.h"
#include "video/byte_file.h"

namespace {

void CheckPaths(const Options &options) {
    if (IsSameFile(options.input, options.output))
        throw VideoError("input and output are the same file, give OUTPUT another name");
    if (options.tracePath.empty()) return;
    if (IsSameFile(options.input, options.tracePath))
        throw VideoError("--trace names the input file, give it another name");
    bool besideFile = options.output != "-" && IsSameFile(options.output, options.tracePath);
    if (options.tracePath == options.output || besideFile)
        throw VideoError("--trace names the output file, give it another name");
}

void PrintNotes(const FrameSource &source) {
    const StreamInfo &info = source.Info();
    if (info.size != info.codedSize)
        std::cerr << "quorvel-stabilize: note: " << source.Name() << " is " << SizeText(info.codedSize)
                  << ", only the even part " << SizeText(info.size) << " is used\n";
    if (info.interlaced)
        std::cerr
            << "quorvel-stabilize: note: " << source.Name()
            << " is interlaced, frames are moved as a whole; deinterlace first for a clean picture\n";
}

// What a run holds open. Created in the order in which faults are to be found: nothing is overwritten
// before the input has proved usable.
struct Run {
    explicit Run(const Options &options)
        : source(OpenSource(options.input, options.shape)),
          outSize(options.outSize.value_or(source->Info().size)),
          stabilizer(source->Info().size, outSize, source->Info().layout, options.mode) {
        PrintNotes(*source);
        StreamInfo outInfo = source->Info();
        outInfo.size = outInfo.codedSize = outSize;
        sink = OpenSink(options.output, outInfo);
        if (!options.tracePath.empty()) trace = std::make_unique<Trace>(options.tracePath);
    }

    int64_t CopyFrames() {
        Frame input(source->Info().size);
        Frame output(outSize);
        int64_t count = 0;
        for (; source->Read(input); count++) {
            stabilizer.Run(input, output);
            sink->Write(output);
            if (trace) trace->Add(stabilizer.Motion());
        }
        return count;
    }

    void Close() {
        sink->Close();
        if (trace) trace->Close();
    }

    std::unique_ptr<FrameSource> source;
    PictureSize outSize;
    Stabilizer stabilizer;
    std::unique_ptr<FrameSink> sink;
    std::unique_ptr<Trace> trace;
};

} // namespace

void StabilizeStream(const Options &options) {
    CheckPaths(options);
    Run run(options);
    int64_t count = 0;
    try {
        count = run.CopyFrames();
    } catch (const VideoError &) {
        // The frames so far are to reach the output; should that fail too, the first fault is the one
        // to tell.
        try {
            run.Close();
        } catch (const VideoError &) {
        }
        throw;
    }
    run.Close();
    if (count == 0)
        throw VideoError(run.source->Name() + ": holds no frame, there is nothing to stabilize");
}

// SPDX-License-Identifier: BSD-2-Clause
#include "stabilize/run.h"

#include <math.h>
#include <stdio.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

#include "stabilize/console.h"
#include "stabilize/pipeline.h"
#include "stabilize/plot.h"
#include "stabilize/preview_feed.h"
#include "stabilize/report.h"
#include "stabilize/summary.h"
#include "stabilize/trace.h"
#include "stabilize/worker.h"
#include "video/byte_file.h"
#include "video/interrupt.h"
#include "video/media.h"
#include "video/output_file.h"

namespace {

// Of even sides, the least in which something can be measured on the standard path, and the least in
// which something always can be on the refined one.
const PictureSize kLeast = {94, 34};
const PictureSize kLeastRefined = {72, 72};

void CheckReport(const Options &options, const std::string &path, const std::string &option) {
    if (path.empty()) return;
    const char *const give = ", give it another name";
    if (IsSameFile(options.input, path)) throw VideoError(option + " names the input file" + give);
    if (!options.output.empty() && IsSameOutput(options.output, path))
        throw VideoError(option + " names the output file" + give);
    RefuseToOverwrite(path, options.overwrite, option);
}

void CheckReports(const Options &options) {
    const std::pair<const char *, const std::string &> reports[] = {
        {"--trace", options.tracePath}, {"--plot", options.plotPath}, {"--report", options.reportPath}};
    for (const auto &[option, path] : reports) CheckReport(options, path, option);
    for (const auto &[option, path] : reports)
        for (const auto &[other, otherPath] : reports)
            if (option != other && !path.empty() && !otherPath.empty() && IsSameOutput(path, otherPath))
                throw VideoError(std::string(option) + " and " + other +
                                 " name the same file, give one of them another name");
}

void CheckPaths(const Options &options) {
    if (!options.output.empty() && IsSameFile(options.input, options.output))
        throw VideoError("input and output are the same file, give OUTPUT another name");
    if (options.refined && options.refined->MeasuredFirst())
        CheckReadTwice(options.input, options.source, *options.refined);
    CheckReports(options);
    if (options.output == "-" && isatty(STDOUT_FILENO) == 1)
        throw VideoError("the video would go to the terminal, give OUTPUT a name, or send standard "
                         "output to a file or a program");
    if (!options.plotPath.empty()) CheckPlotter();
}

void CheckStream(const FrameSource &source, bool refined, bool force, Console &console) {
    const StreamInfo &info = source.Info();
    for (const std::string &note : info.notes) console.Note(source.Name() + ": " + note);
    if (info.size != info.codedSize)
        console.Note(source.Name() + " is " + SizeText(info.codedSize) + ", only " +
                     SizeText(info.size) + ", the even part, is used");
    PictureSize least = refined ? kLeastRefined : kLeast;
    if (info.size.width < least.width || info.size.height < least.height)
        console.Note(source.Name() + " is " + SizeText(info.size) + ", too small to be measured" +
                     (refined ? " well (" : " (") + SizeText(least) + " is the least): it " +
                     (refined ? "may be" : "is") + " cropped, not stabilized");
    if (!info.interlaced) return;
    if (!force)
        throw VideoError(source.Name() +
                         " is interlaced, which smears when it is moved; deinterlace it "
                         "first (ffmpeg -vf bwdif), or take it as it is with --force");
    console.Note(source.Name() + " is interlaced, frames are moved as a whole");
}

void TellLookahead(const RefinedSettings &settings, const StreamInfo &info, Console &console) {
    int most = MostLookahead(settings, info);
    if (LookaheadFrames(settings, info) <= most) return;
    char text[80];
    snprintf(text, sizeof(text), "the lookahead is shortened to %d frames, %.2f seconds, ", most,
             most / RateOf(info).Value());
    bool large = most < kMostLookahead;
    console.Note(
        text + std::string(large ? "which take 1 GiB; --lookahead 1 takes more" : "the most there is"));
}

void TellWindow(const WindowChoice &choice, Console &console) {
    char text[200];
    if (choice.known)
        snprintf(text, sizeof(text),
                 "--window auto: %g %% of each side, shake above 1 Hz %.2f pixels and %.2f mrad, left "
                 "%.2f and %.2f",
                 100 * choice.window, choice.before.pixels, choice.before.milliradians,
                 choice.after.pixels, choice.after.milliradians);
    else
        snprintf(text, sizeof(text),
                 "--window auto: %g %% of each side, too short a clip to tell its shake",
                 100 * choice.window);
    console.Note(text);
}

SourceOptions WithNotes(SourceOptions options, Console &console) {
    options.note = [&console](const std::string &text) { console.Note(text); };
    return options;
}

// Also where the tags of a Y4M header go from input to output as they are.
void SetAspect(StreamInfo &info, Rational aspect) {
    info.sampleAspect = aspect;
    for (std::string &tag : info.tags)
        if (tag[0] == 'A' && aspect.num > 0)
            tag = "A" + std::to_string(aspect.num) + ":" + std::to_string(aspect.den);
}

// What a run holds open. Created in the order in which faults are to be found: nothing is overwritten
// before the input has proved usable.
class Run {
  public:
    Run(const Options &options, Console &console)
        : mOptions(options), mConsole(console),
          mSource(OpenSource(options.input, WithNotes(options.source, console))),
          mInfo(mSource->Info()) {
        CheckStream(*mSource, options.refined.has_value(), options.force, console);
        mWorker.emplace(options, mInfo);
        if (options.refined) TellLookahead(*options.refined, mInfo, console);
        if (!options.output.empty()) OpenOutput();
        if (!options.tracePath.empty())
            mTrace = std::make_unique<Trace>(options.tracePath, options.overwrite);
        if (!options.plotPath.empty()) mPlot.emplace(options.plotPath, options.overwrite);
        if (!options.reportPath.empty())
            mReport = std::make_unique<Report>(options.reportPath, options.overwrite);
        if (options.preview) mPreview.emplace("quorvel-stabilize: " + mSource->Name(), PreviewShape());
    }

    void All() {
        mSummary.input = mSource->Name();
        mSummary.inSize = mInfo.size;
        mSummary.outSize = mWorker->OutSize();
        if (mOptions.refined && mOptions.refined->MeasuredFirst()) MeasureFirst();
        Pipeline pipeline(*mSource, mSink.get());
        CopyFrames(pipeline);
        pipeline.Finish();
        Close();
        Summarize(pipeline.ReadFault());
        if (mReport && mWorker->Count() > 0) mReport->Write(mOptions, mInfo, *mWorker, mSummary);
        TellSummary();
    }

  private:
    PreviewPictures PreviewShape() const {
        PreviewPictures pictures;
        pictures.before = mWorker->BeforeSize();
        pictures.after = mWorker->SteadySize();
        pictures.layout = mInfo.layout;
        pictures.rotation = mInfo.rotation;
        if (mWorker->SampleAspect().num > 0) pictures.sampleAspect = mWorker->SampleAspect().Value();
        return pictures;
    }

    void OpenOutput() {
        StreamInfo outInfo = mInfo;
        outInfo.container = ChooseContainer(mOptions.output, mOptions.sink, mInfo.container);
        outInfo.size = outInfo.codedSize = mWorker->OutSize();
        SetAspect(outInfo, mWorker->SampleAspect());
        // Several files are named after the output by the container itself: no temporary name for
        // these.
        std::string first = outInfo.container == Container::Coded
                                ? FirstOfManyFiles(mOptions.output, mOptions.sink.format)
                                : "";
        RefuseToOverwrite(first, mOptions.overwrite, "output");
        mOutput.emplace(mOptions.output, mOptions.overwrite, !first.empty());
        SinkOptions sink = mOptions.sink;
        sink.name = mOutput->Name();
        sink.note = [this](const std::string &text) { mConsole.Note(text); };
        mSink = OpenSink(mOutput->WritePath(), outInfo, sink);
        if (outInfo.container != Container::Coded && mInfo.container == Container::Coded)
            mConsole.Note(mOutput->Name() + " gets the pictures only, without sound and tags");
    }

    void CopyFrames(Pipeline &pipeline) {
        FramePtr input;
        for (bool more = true; more;) {
            more = pipeline.Next(input);
            if (more)
                mWorker->Push(input);
            else
                mWorker->EndMeasuring();
            for (FramePtr output; mWorker->Pull(output);)
                if (!Deliver(pipeline, std::move(output))) return;
        }
    }

    bool Deliver(Pipeline &pipeline, FramePtr output) {
        MotionRecord record = mWorker->Record();
        AddRecord(record);
        double due = mOptions.output.empty() ? record.seconds : -1;
        if (mPreview && !mPreview->Show(*mWorker->Before(), mWorker->Steady(), due)) CloseWindow();
        bool going = pipeline.Write(std::move(output));
        int64_t frames = mMeasured > 0 ? 2 * mMeasured : mInfo.frameCount;
        mConsole.Progress(mMeasured + mWorker->Count(), frames);
        return going;
    }

    // What is wrong with the input is told when it is read again.
    void MeasureFirst() {
        std::unique_ptr<FrameSource> source = OpenSource(mOptions.input, mOptions.source);
        if (source->Info().size != mInfo.size || source->Info().layout != mInfo.layout)
            throw VideoError(mSource->Name() + " changes while it is read, wait until it is complete");
        Pipeline pipeline(*source, nullptr);
        for (FramePtr frame; pipeline.Next(frame);) {
            mWorker->Measure(*frame);
            mConsole.Progress(++mMeasured, 2 * mInfo.frameCount);
        }
        pipeline.Finish();
        mWorker->EndMeasuring();
        if (!mOptions.refined->autoWindow || mMeasured == 0 || Interrupted()) return;
        const WindowChoice choice = mWorker->FitWindow();
        if (!Interrupted()) TellWindow(choice, mConsole);
    }

    void CloseWindow() {
        mPreview.reset();
        Interrupt();
    }

    void AddRecord(const MotionRecord &record) {
        mSummary.Add(record);
        if (mTrace) mTrace->Add(record);
        if (mPlot) mRecords.push_back(record);
        if (!mReport || !mReport->Add(record)) return;
        mWorker->NeedSteady();
        mReport->Show(*mWorker, mInfo);
    }

    void Close() {
        if (mWorker->Count() == 0) return;
        if (mSink) mSink->Close();
        if (mOutput) mOutput->Commit();
        if (mTrace) mTrace->Close();
        if (!mPlot) return;
        DrawPlot(*mPlot, mSource->Name(), mRecords, mWorker->Reach());
    }

    void Summarize(const std::exception_ptr &fault) {
        mSummary.output = mOutput ? mOutput->Name() : "";
        mSummary.encoder = mSink ? mSink->Describe() : "";
        mSummary.window = mWorker->Window();
        mSummary.seconds = mConsole.Seconds();
        mSummary.notes = mConsole.Notes();
        mSummary.interrupted = Interrupted();
        try {
            if (fault && !Interrupted()) std::rethrow_exception(fault);
            if (mWorker->Count() == 0 && !Interrupted())
                throw VideoError(mSource->Name() + ": holds no frame, there is nothing to stabilize");
        } catch (const VideoError &error) {
            mSummary.fault = error.what();
        }
    }

    void TellSummary() {
        mConsole.Done(mSummary.Text());
        if (mOptions.json) PrintSummary();
        if (!mSummary.fault.empty()) throw VideoError(mSummary.fault);
    }

    void PrintSummary() {
        ByteOutput output("-");
        output.Write(mSummary.Json());
        output.Close();
    }

    const Options &mOptions;
    Console &mConsole;
    std::unique_ptr<FrameSource> mSource;
    const StreamInfo &mInfo;
    std::optional<Worker> mWorker;
    std::optional<OutputFile> mOutput;
    std::unique_ptr<FrameSink> mSink;
    std::unique_ptr<Trace> mTrace;
    std::optional<OutputFile> mPlot;
    std::unique_ptr<Report> mReport;
    std::optional<PreviewFeed> mPreview;
    std::vector<MotionRecord> mRecords;
    int64_t mMeasured = 0; // frames, before the first picture was made
    Summary mSummary;
};

} // namespace

void StabilizeStream(const Options &options) {
    CheckPaths(options);
    Console console(options.quiet);
    Run(options, console).All();
}

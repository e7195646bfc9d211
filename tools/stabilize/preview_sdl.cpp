// SPDX-License-Identifier: BSD-2-Clause
#define SDL_MAIN_HANDLED
#include <SDL.h>
#include <math.h>
#include <string.h>

#include <algorithm>
#include <chrono>

#include "stabilize/compose.h"
#include "stabilize/preview.h"
#include "video/interrupt.h"

const bool kHasPreview = true;

namespace {

const double kKeyStep = 0.02;    // of the width
const double kLateSeconds = 0.5; // behind its time by more, the clock is set anew
const int kPauseWait = 20;       // milliseconds between looks at the keys

using Clock = std::chrono::steady_clock;

struct Destroy {
    void operator()(SDL_Window *window) const { SDL_DestroyWindow(window); }
    void operator()(SDL_Renderer *renderer) const { SDL_DestroyRenderer(renderer); }
    void operator()(SDL_Texture *texture) const { SDL_DestroyTexture(texture); }
};
template <typename T> using SdlPtr = std::unique_ptr<T, Destroy>;

template <typename T> T *Created(T *thing) {
    if (!thing) throw VideoError(std::string("--preview: cannot open a window: ") + SDL_GetError());
    return thing;
}

struct Video {
    Video() {
        SDL_SetMainReady();
        SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1"); // Ctrl-C is ours
        SDL_SetHint(SDL_HINT_VIDEO_X11_NET_WM_BYPASS_COMPOSITOR, "0");
        SDL_SetHint(SDL_HINT_RENDER_SCALE_QUALITY, "linear");
        if (SDL_Init(SDL_INIT_VIDEO) != 0) Created<SDL_Window>(nullptr);
        const char *driver = SDL_GetCurrentVideoDriver();
        bool chosen = SDL_getenv("SDL_VIDEODRIVER") != nullptr;
        if (chosen || (strcmp(driver, "dummy") != 0 && strcmp(driver, "offscreen") != 0)) return;
        SDL_Quit();
        throw VideoError("--preview: there is no display to open a window on (DISPLAY and "
                         "WAYLAND_DISPLAY name none that works)");
    }
    ~Video() { SDL_Quit(); }
};

class SdlPreview : public Preview {
  public:
    SdlPreview(const std::string &title, const PreviewPictures &pictures);
    bool Show(const Frame &input, const Frame &output, double seconds) override;

  private:
    SDL_Texture *MakeTexture(PictureSize size) const;
    void Upload(SDL_Texture *texture, const Frame &frame, PictureSize size) const;
    void DrawTurned(SDL_Texture *texture, const SDL_Rect &part);
    void Draw();
    bool Ends() const { return mClosed || Interrupted(); }
    void TakeEvents();
    void TakeKey(SDL_Keycode key);
    void WaitUntil(double seconds);

    Video mVideo;
    PreviewPictures mPictures;
    PictureSize mShown;   // as players show it: square pixels, turned
    PictureSize mUpright; // and before it is turned
    SdlPtr<SDL_Window> mWindow;
    SdlPtr<SDL_Renderer> mRenderer;
    SdlPtr<SDL_Texture> mBefore;
    SdlPtr<SDL_Texture> mAfter;
    double mSplit = 0.5; // of the width
    bool mPaused = false;
    bool mClosed = false;
    bool mStarted = false;
    Clock::time_point mBegin;
};

// In square pixels: the side with the longer ones grows.
PictureSize SquareSize(PictureSize size, double aspect) {
    const double most = 10; // a damaged tag is no reason for a window of any size
    aspect = std::clamp(aspect, 1 / most, most);
    if (aspect > 1) size.width = (int)lround(size.width * aspect);
    if (aspect < 1) size.height = (int)lround(size.height / aspect);
    return size;
}

SdlPreview::SdlPreview(const std::string &title, const PreviewPictures &pictures)
    : mPictures(pictures), mUpright(SquareSize(pictures.after, pictures.sampleAspect)) {
    mShown = mUpright;
    if (pictures.rotation % 180 != 0) std::swap(mShown.width, mShown.height);
    SDL_DisplayMode mode = {};
    double scale = 1;
    if (SDL_GetDesktopDisplayMode(0, &mode) == 0)
        scale = std::min({1.0, 0.9 * mode.w / mShown.width, 0.85 * mode.h / mShown.height});
    int width = std::max((int)(mShown.width * scale), 64);
    int height = std::max((int)(mShown.height * scale), 64);
    mWindow.reset(
        Created(SDL_CreateWindow(title.c_str(), SDL_WINDOWPOS_CENTERED, SDL_WINDOWPOS_CENTERED, width,
                                 height, SDL_WINDOW_RESIZABLE)));
    mRenderer.reset(Created(SDL_CreateRenderer(mWindow.get(), -1, 0)));
    SDL_RenderSetLogicalSize(mRenderer.get(), mShown.width, mShown.height);
    mBefore.reset(Created(MakeTexture(pictures.before)));
    mAfter.reset(Created(MakeTexture(pictures.after)));
}

SDL_Texture *SdlPreview::MakeTexture(PictureSize size) const {
    bool pairs = mPictures.layout == PixelLayout::NV21;
    Uint32 format = pairs ? SDL_PIXELFORMAT_NV21 : SDL_PIXELFORMAT_IYUV;
    return SDL_CreateTexture(mRenderer.get(), format, SDL_TEXTUREACCESS_STREAMING, size.width,
                             size.height);
}

void SdlPreview::Upload(SDL_Texture *texture, const Frame &frame, PictureSize size) const {
    // Packed planes one behind the other are what a texture of these formats takes.
    SDL_UpdateTexture(texture, nullptr, frame.pixels.Data(), size.width);
}

void SdlPreview::DrawTurned(SDL_Texture *texture, const SDL_Rect &part) {
    // Turned about its middle, which is that of the window.
    SDL_Rect place = {(mShown.width - mUpright.width) / 2, (mShown.height - mUpright.height) / 2,
                      mUpright.width, mUpright.height};
    SDL_RenderCopyEx(mRenderer.get(), texture, &part, &place, mPictures.rotation, nullptr,
                     SDL_FLIP_NONE);
}

void SdlPreview::Draw() {
    SDL_Renderer *renderer = mRenderer.get();
    PictureSize size = mPictures.after;
    int column = (int)(mSplit * mShown.width);
    Corner corner = MiddleCorner(mPictures.before, size);
    SDL_SetRenderDrawColor(renderer, 0, 0, 0, 255);
    SDL_RenderClear(renderer);
    DrawTurned(mAfter.get(), {0, 0, size.width, size.height});
    SDL_Rect left = {0, 0, column, mShown.height};
    if (column > 0) { // an empty rectangle would clip nothing
        SDL_RenderSetClipRect(renderer, &left);
        DrawTurned(mBefore.get(), {corner.column, corner.row, size.width, size.height});
        SDL_RenderSetClipRect(renderer, nullptr);
    }
    SDL_SetRenderDrawColor(renderer, 255, 255, 255, 255);
    SDL_Rect line = {column - 1, 0, 2, mShown.height};
    SDL_RenderFillRect(renderer, &line);
    SDL_RenderPresent(renderer);
}

void SdlPreview::TakeKey(SDL_Keycode key) {
    if (key == SDLK_LEFT) mSplit -= kKeyStep;
    if (key == SDLK_RIGHT) mSplit += kKeyStep;
    if (key == SDLK_HOME) mSplit = 0;
    if (key == SDLK_END) mSplit = 1;
    if (key == SDLK_SPACE) mPaused = !mPaused;
    if (key == SDLK_q || key == SDLK_ESCAPE) mClosed = true;
    mSplit = std::clamp(mSplit, 0.0, 1.0);
}

void SdlPreview::TakeEvents() {
    SDL_Event event;
    while (SDL_PollEvent(&event)) {
        if (event.type == SDL_QUIT) mClosed = true;
        if (event.type == SDL_KEYDOWN) TakeKey(event.key.keysym.sym);
        // Positions are in the shown picture's pixels, whatever the window's size.
        bool dragged = event.type == SDL_MOUSEMOTION && (event.motion.state & SDL_BUTTON_LMASK);
        int x = event.type == SDL_MOUSEBUTTONDOWN ? event.button.x : dragged ? event.motion.x : -1;
        if (x >= 0) mSplit = std::clamp((double)x / mShown.width, 0.0, 1.0);
    }
}

void SdlPreview::WaitUntil(double seconds) {
    auto due = [&] { return seconds - std::chrono::duration<double>(Clock::now() - mBegin).count(); };
    if (!mStarted || due() < -kLateSeconds)
        mBegin = Clock::now() -
                 std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
    mStarted = true;
    double left;
    while ((left = due()) > 0 && !Ends()) {
        SDL_Delay((Uint32)std::min(left * 1000, (double)kPauseWait));
        TakeEvents();
    }
}

bool SdlPreview::Show(const Frame &input, const Frame &output, double seconds) {
    if (seconds >= 0) WaitUntil(seconds);
    Upload(mBefore.get(), input, mPictures.before);
    Upload(mAfter.get(), output, mPictures.after);
    TakeEvents();
    Draw();
    while (mPaused && !Ends()) {
        SDL_Delay(kPauseWait);
        TakeEvents();
        Draw();
        mStarted = false;
    }
    return !mClosed;
}

} // namespace

std::string PreviewVersion() {
    SDL_version version;
    SDL_GetVersion(&version);
    return "with SDL " + std::to_string(version.major) + "." + std::to_string(version.minor) + "." +
           std::to_string(version.patch) + " (--preview)";
}

std::unique_ptr<Preview> OpenPreview(const std::string &title, const PreviewPictures &pictures) {
    return std::make_unique<SdlPreview>(title, pictures);
}

#ifndef ZRNDEMO_PASSES_H
#define ZRNDEMO_PASSES_H

// The render passes of the demo host: a small CPU image pipeline.
//
//   GeneratePass   width, height, frame, frames  -> image (FloatImage)
//   BlurPass       image, blurRadius             -> image (FloatImage), on a worker thread
//   ExposurePass   image, key                    -> exposure (double)
//   ToneMapPass    image, exposure               -> image (RgbImage)
//   HistogramPass  image                         -> image (RgbImage), meanLuma, histogram
//
// Values travel between passes as QVariants holding the two image types
// below; both share their pixel storage implicitly, so handing an image on
// costs no copy.

#include <ZrnCore/RenderPassHelper.h>

#include <QtCore/QByteArray>
#include <QtCore/QMetaType>
#include <QtCore/QVector>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace ZrnDemo {

/// Largest width or height a pass accepts.
constexpr int kMaxImageSide = 4096;
/// Number of bins of HistogramPass's luma histogram.
constexpr int kHistogramBins = 16;

/// Error codes the passes report through RenderPass::errorCode().
enum PassError : unsigned int {
    NoError = 0,
    BadSize = 1,   ///< width or height outside 1..kMaxImageSide
    NoImage = 2,   ///< the image input holds no image of the right type
    BadRadius = 3, ///< blur radius below 0
};

/// A grey image in linear light, one float per pixel, row by row. Values
/// are 0 or more with no upper bound (a bright spot may exceed 1).
struct FloatImage
{
    int width = 0;
    int height = 0;
    QVector<float> pixels;

    bool isValid() const { return width > 0 && height > 0 && pixels.size() == width * height; }
};

/// An 8-bit RGB image, three bytes per pixel, row by row, with no padding
/// between rows.
struct RgbImage
{
    int width = 0;
    int height = 0;
    QByteArray pixels;

    bool isValid() const { return width > 0 && height > 0 && pixels.size() == width * height * 3; }
};

/// Draws a moving pattern: two interfering ring waves whose centres circle
/// the middle, and a bright spot on a figure-of-eight path. The pattern
/// repeats every `frames` frames. Fails with BadSize for a size outside
/// 1..kMaxImageSide.
class GeneratePass : public Morvane::Zrn::RenderPassHelper
{
public:
    GeneratePass();
    void start(Morvane::Zrn::RenderCallbacks* cb) override;
};

/// Box blur of a given radius (0 copies the image), run on a worker thread
/// that the pass starts in setup() and keeps between frames: start() hands
/// the frame's image over and returns; isFinished() reports when the worker
/// is done; endFrame() publishes the result. teardown() and the destructor
/// stop and join the worker. Fails with NoImage or BadRadius, then starts no
/// work and outputs an invalid value.
class BlurPass : public Morvane::Zrn::RenderPassHelper
{
public:
    BlurPass();
    ~BlurPass() override;

    void setup(Morvane::Zrn::RenderCallbacks* cb) override;
    void start(Morvane::Zrn::RenderCallbacks* cb) override;
    bool isFinished() const override;
    void endFrame(Morvane::Zrn::RenderCallbacks* cb) override;
    void teardown(Morvane::Zrn::RenderCallbacks* cb) override;

private:
    void startWorker();
    void stopWorker();
    void workerLoop();

    std::thread m_worker;
    std::mutex m_mutex; // guards the four members below
    std::condition_variable m_wake;
    bool m_hasJob = false;
    bool m_quit = false;
    FloatImage m_job;
    int m_jobRadius = 0;
    FloatImage m_result; // written by the worker, read in endFrame()
    std::atomic<bool> m_done{true};
};

/// Automatic exposure: the factor that brings the image's log-average
/// luminance to the middle grey `key` (default 0.18). Fails with NoImage.
class ExposurePass : public Morvane::Zrn::RenderPassHelper
{
public:
    ExposurePass();
    void start(Morvane::Zrn::RenderCallbacks* cb) override;
};

/// Maps linear light to 8-bit colour: scales by `exposure` (default 1.0),
/// compresses with L / (1 + L), applies a display gamma and colours the
/// result along a dark-blue to orange to white ramp. Fails with NoImage.
class ToneMapPass : public Morvane::Zrn::RenderPassHelper
{
public:
    ToneMapPass();
    void start(Morvane::Zrn::RenderCallbacks* cb) override;
};

/// Measures the image: its mean luma (Rec. 709 weights, 0..255) and a
/// kHistogramBins-bin luma histogram (a QVector<int>), and outputs the image
/// with the histogram drawn as bars in its lower-left corner (when the image
/// is at least 32x16). Fails with NoImage.
class HistogramPass : public Morvane::Zrn::RenderPassHelper
{
public:
    HistogramPass();
    void start(Morvane::Zrn::RenderCallbacks* cb) override;
};

} // namespace ZrnDemo

Q_DECLARE_METATYPE(ZrnDemo::FloatImage)
Q_DECLARE_METATYPE(ZrnDemo::RgbImage)

#endif // ZRNDEMO_PASSES_H

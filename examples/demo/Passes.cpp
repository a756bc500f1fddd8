#include "Passes.h"

#include <QtCore/QString>

#include <algorithm>
#include <cmath>

using Morvane::Zrn::RenderCallbacks;

namespace ZrnDemo {

namespace {

constexpr double kTwoPi = 6.283185307179586;

// Reads an int input; false when the value is not a number.
bool readInt(const QVariant& value, int* out)
{
    bool ok = false;
    *out = value.toInt(&ok);
    return ok;
}

// One box-blur pass along rows (horizontal) or columns, with the edge pixel
// repeated beyond the border: a running sum over 2*radius + 1 samples.
void boxBlur1D(const float* src, float* dst, int width, int height, int radius, bool horizontal)
{
    const int lines = horizontal ? height : width;
    const int length = horizontal ? width : height;
    const int step = horizontal ? 1 : width;
    const float scale = 1.0f / float(2 * radius + 1);
    for (int line = 0; line < lines; ++line) {
        const int first = horizontal ? line * width : line;
        const float* in = src + first;
        float* out = dst + first;
        auto at = [&](int i) { return in[std::min(std::max(i, 0), length - 1) * step]; };
        float sum = 0.0f;
        for (int i = -radius; i <= radius; ++i)
            sum += at(i);
        for (int i = 0; i < length; ++i) {
            out[i * step] = sum * scale;
            sum += at(i + radius + 1) - at(i - radius);
        }
    }
}

FloatImage boxBlur(const FloatImage& image, int radius)
{
    if (radius == 0)
        return image;
    FloatImage result = image;
    QVector<float> temp(image.pixels.size());
    boxBlur1D(image.pixels.constData(), temp.data(), image.width, image.height, radius, true);
    boxBlur1D(temp.constData(), result.pixels.data(), image.width, image.height, radius, false);
    return result;
}

// The tone-mapped grey level g in 0..1 coloured along dark blue, orange, white.
void ramp(double g, unsigned char* rgb)
{
    static const double stops[3][3] = {{8, 12, 40}, {230, 110, 30}, {255, 250, 235}};
    const double t = std::min(std::max(g, 0.0), 1.0) * 2.0;
    const int k = std::min(int(t), 1);
    const double f = t - k;
    for (int c = 0; c < 3; ++c)
        rgb[c] = static_cast<unsigned char>(std::lround(stops[k][c] + (stops[k + 1][c] - stops[k][c]) * f));
}

} // namespace

// ------------------------------------------------------------------ GeneratePass

GeneratePass::GeneratePass()
{
    addInput(QStringLiteral("width"), 0);
    addInput(QStringLiteral("height"), 0);
    addInput(QStringLiteral("frame"), 0);
    addInput(QStringLiteral("frames"), 1);
    addOutput(QStringLiteral("image"));
}

void GeneratePass::start(RenderCallbacks*)
{
    int width = 0, height = 0, frame = 0, frames = 1;
    if (!readInt(inputs[0].value, &width) || !readInt(inputs[1].value, &height) || width < 1 || height < 1
        || width > kMaxImageSide || height > kMaxImageSide) {
        outputs[0].value = QVariant();
        setErrorCode(BadSize);
        return;
    }
    if (!readInt(inputs[2].value, &frame))
        frame = 0;
    if (!readInt(inputs[3].value, &frames) || frames < 1)
        frames = 1;

    const double phase = kTwoPi * double(((frame % frames) + frames) % frames) / double(frames);
    const double aspect = double(width) / double(height);
    const double cx = 0.5 * aspect;
    const double c1x = cx + 0.25 * std::cos(phase), c1y = 0.5 + 0.25 * std::sin(phase);
    const double c2x = cx - 0.25 * std::cos(phase), c2y = 0.5 - 0.25 * std::sin(phase);
    const double spotX = cx + 0.35 * aspect * std::sin(phase);
    const double spotY = 0.5 + 0.3 * std::sin(2.0 * phase);

    FloatImage image;
    image.width = width;
    image.height = height;
    image.pixels.resize(width * height);
    float* out = image.pixels.data();
    for (int y = 0; y < height; ++y) {
        const double v = (y + 0.5) / height;
        for (int x = 0; x < width; ++x) {
            const double u = (x + 0.5) / height;
            const double d1 = std::hypot(u - c1x, v - c1y);
            const double d2 = std::hypot(u - c2x, v - c2y);
            const double wave = 0.5 + 0.25 * (std::sin(60.0 * d1 - 6.0 * phase) + std::sin(60.0 * d2 - 6.0 * phase));
            const double ds2 = (u - spotX) * (u - spotX) + (v - spotY) * (v - spotY);
            const double spot = 6.0 * std::exp(-ds2 / (2.0 * 0.05 * 0.05));
            out[y * width + x] = float(0.01 + 0.3 * wave * wave + spot);
        }
    }
    outputs[0].value = QVariant::fromValue(image);
}

// ------------------------------------------------------------------ BlurPass

BlurPass::BlurPass()
{
    addInput(QStringLiteral("image"), QVariant());
    addInput(QStringLiteral("blurRadius"), 0);
    addOutput(QStringLiteral("image"));
}

BlurPass::~BlurPass()
{
    // A host that never called teardown() still gets its thread joined.
    stopWorker();
}

void BlurPass::setup(RenderCallbacks*)
{
    startWorker();
}

void BlurPass::teardown(RenderCallbacks*)
{
    stopWorker();
}

void BlurPass::startWorker()
{
    if (m_worker.joinable())
        return;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_quit = false;
        m_hasJob = false;
    }
    m_done.store(true);
    m_worker = std::thread(&BlurPass::workerLoop, this);
}

void BlurPass::stopWorker()
{
    if (!m_worker.joinable())
        return;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_quit = true;
    }
    m_wake.notify_one();
    m_worker.join();
}

void BlurPass::workerLoop()
{
    for (;;) {
        FloatImage job;
        int radius = 0;
        {
            std::unique_lock<std::mutex> lock(m_mutex);
            m_wake.wait(lock, [this] { return m_quit || m_hasJob; });
            // A job handed over before quitting is finished first, so that
            // nobody polling isFinished() waits for ever.
            if (!m_hasJob)
                return;
            job = m_job;
            radius = m_jobRadius;
            m_job = FloatImage();
            m_hasJob = false;
        }
        FloatImage result = boxBlur(job, radius);
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_result = result;
        }
        m_done.store(true, std::memory_order_release);
    }
}

void BlurPass::start(RenderCallbacks*)
{
    const FloatImage image = inputs[0].value.value<FloatImage>();
    int radius = 0;
    if (!image.isValid()) {
        setErrorCode(NoImage);
    } else if (!readInt(inputs[1].value, &radius) || radius < 0) {
        setErrorCode(BadRadius);
    }
    if (errorCode() != NoError) {
        outputs[0].value = QVariant();
        return;
    }

    startWorker(); // for a host that skipped setup()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_job = image;
        m_jobRadius = radius;
        m_hasJob = true;
        m_done.store(false, std::memory_order_release);
    }
    m_wake.notify_one();
}

bool BlurPass::isFinished() const
{
    return m_done.load(std::memory_order_acquire);
}

void BlurPass::endFrame(RenderCallbacks* cb)
{
    if (errorCode() == NoError) {
        std::lock_guard<std::mutex> lock(m_mutex);
        outputs[0].value = QVariant::fromValue(m_result);
        m_result = FloatImage();
    }
    RenderPassHelper::endFrame(cb);
}

// ------------------------------------------------------------------ ExposurePass

ExposurePass::ExposurePass()
{
    addInput(QStringLiteral("image"), QVariant());
    addInput(QStringLiteral("key"), 0.18);
    addOutput(QStringLiteral("exposure"));
}

void ExposurePass::start(RenderCallbacks*)
{
    const FloatImage image = inputs[0].value.value<FloatImage>();
    if (!image.isValid()) {
        outputs[0].value = QVariant();
        setErrorCode(NoImage);
        return;
    }
    bool ok = false;
    double key = inputs[1].value.toDouble(&ok);
    if (!ok || key <= 0.0)
        key = 0.18;

    double logSum = 0.0;
    for (float value : image.pixels)
        logSum += std::log(1e-4 + double(value));
    const double logAverage = std::exp(logSum / image.pixels.size());
    outputs[0].value = std::min(std::max(key / logAverage, 1.0 / 64.0), 64.0);
}

// ------------------------------------------------------------------ ToneMapPass

ToneMapPass::ToneMapPass()
{
    addInput(QStringLiteral("image"), QVariant());
    addInput(QStringLiteral("exposure"), 1.0);
    addOutput(QStringLiteral("image"));
}

void ToneMapPass::start(RenderCallbacks*)
{
    const FloatImage image = inputs[0].value.value<FloatImage>();
    if (!image.isValid()) {
        outputs[0].value = QVariant();
        setErrorCode(NoImage);
        return;
    }
    bool ok = false;
    double exposure = inputs[1].value.toDouble(&ok);
    if (!ok || !(exposure > 0.0))
        exposure = 1.0;

    RgbImage result;
    result.width = image.width;
    result.height = image.height;
    result.pixels.resize(image.pixels.size() * 3);
    auto* out = reinterpret_cast<unsigned char*>(result.pixels.data());
    for (int i = 0; i < image.pixels.size(); ++i) {
        const double scaled = double(image.pixels[i]) * exposure;
        ramp(std::pow(scaled / (1.0 + scaled), 1.0 / 2.2), out + 3 * i);
    }
    outputs[0].value = QVariant::fromValue(result);
}

// ------------------------------------------------------------------ HistogramPass

HistogramPass::HistogramPass()
{
    addInput(QStringLiteral("image"), QVariant());
    addOutput(QStringLiteral("image"));
    addOutput(QStringLiteral("meanLuma"));
    addOutput(QStringLiteral("histogram"));
}

void HistogramPass::start(RenderCallbacks*)
{
    RgbImage image = inputs[0].value.value<RgbImage>();
    if (!image.isValid()) {
        for (NamedValue& output : outputs)
            output.value = QVariant();
        setErrorCode(NoImage);
        return;
    }

    QVector<int> bins(kHistogramBins, 0);
    const auto* in = reinterpret_cast<const unsigned char*>(image.pixels.constData());
    const int count = image.width * image.height;
    double lumaSum = 0.0;
    for (int i = 0; i < count; ++i) {
        const double luma = 0.2126 * in[3 * i] + 0.7152 * in[3 * i + 1] + 0.0722 * in[3 * i + 2];
        lumaSum += luma;
        ++bins[std::min(kHistogramBins - 1, int(luma * kHistogramBins / 256.0))];
    }

    // The histogram as bars in the lower-left corner, on a dark panel.
    if (image.width >= 32 && image.height >= 16) {
        const int barWidth = std::max(1, std::min(image.width / 3 / kHistogramBins, 6));
        const int panelHeight = std::max(8, image.height / 4);
        const int left = 2;
        const int bottom = image.height - 3;
        const int tallest = *std::max_element(bins.constBegin(), bins.constEnd());
        auto* out = reinterpret_cast<unsigned char*>(image.pixels.data()); // detaches
        for (int b = 0; b < kHistogramBins; ++b) {
            const int bar = tallest > 0 ? int(std::lround(double(bins[b]) * panelHeight / tallest)) : 0;
            for (int row = 0; row < panelHeight; ++row) {
                const int y = bottom - row;
                const bool lit = row < bar;
                for (int x = left + b * barWidth; x < left + (b + 1) * barWidth; ++x) {
                    unsigned char* p = out + 3 * (y * image.width + x);
                    p[0] = lit ? 120 : p[0] / 4;
                    p[1] = lit ? 235 : p[1] / 4;
                    p[2] = lit ? 140 : p[2] / 4;
                }
            }
        }
    }

    const QVariant values[] = {QVariant::fromValue(image), lumaSum / count, QVariant::fromValue(bins)};
    for (int i = 0; i < 3; ++i)
        outputs[i].value = values[i];
}

} // namespace ZrnDemo

#ifndef ZRNCORE_ZRNCORE_H
#define ZRNCORE_ZRNCORE_H

// Everything of libZrnCore in one include.

#include <ZrnCore/Version.h>
#include <ZrnCore/zrncore_export.h>

#include <ZrnCore/Core.h>
#include <ZrnCore/EdgeCheck.h>
#include <ZrnCore/FrameReport.h>
#include <ZrnCore/FrameStatistics.h>
#include <ZrnCore/FrameTrace.h>
#include <ZrnCore/Graph.h>
#include <ZrnCore/GraphDocument.h>
#include <ZrnCore/GraphPicture.h>
#include <ZrnCore/GraphvizDump.h>
#include <ZrnCore/RenderPass.h>
#include <ZrnCore/RenderPassHelper.h>
#include <ZrnCore/Renderer.h>
#include <ZrnCore/RendererCheck.h>
#include <ZrnCore/Walkers.h>

#endif // ZRNCORE_ZRNCORE_H

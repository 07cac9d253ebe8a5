// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

// Where OpenCV is installed, ZU_BENCH_OPENCV is defined and benchmarks measure it beside our kernels.
#ifdef ZU_BENCH_OPENCV

#include "PicBuf.h"

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

/// OpenCV's view of the same memory; 8- and 16-bit interleaved pictures.
inline cv::Mat matOf(const SzPicBuf& picture) {
    const int depth = picture.dataType == EzImageDataType::UInt8 ? CV_8U : CV_16U;
    return {static_cast<int>(picture.height), static_cast<int>(picture.width),
            CV_MAKETYPE(depth, static_cast<int>(picture.channels)), picture.data, picture.linePitch};
}

#endif

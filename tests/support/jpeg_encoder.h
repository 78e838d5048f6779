// JPEG fixtures made with libjpeg-turbo's encoder: any component count, chroma
// subsampling and progressive scans, for decoder tests.
#pragma once

// clang-format off
#include <cstdio>
#include <jpeglib.h>
// clang-format on

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace QorTest {

struct JpegLayout {
  int components = 1;  // 1 grey, 3 RGB (stored as YCbCr), 4 CMYK
  bool ycck = false;   // four components stored as YCCK
  int h_sampling = 1;  // of the first component (the others 1): 2 halves chroma
  int v_sampling = 1;
  bool progressive = false;
  int restart_rows = 0;  // a restart marker every this many MCU rows
  int quality = 100;
};

// `samples`: width × height × components bytes, interleaved.
inline std::string EncodeJpeg(const JpegLayout& layout, std::size_t width, std::size_t height,
                              const std::vector<std::uint8_t>& samples) {
  jpeg_compress_struct info;
  jpeg_error_mgr error;
  info.err = jpeg_std_error(&error);
  jpeg_create_compress(&info);
  unsigned char* buffer = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&info, &buffer, &size);
  info.image_width = static_cast<JDIMENSION>(width);
  info.image_height = static_cast<JDIMENSION>(height);
  info.input_components = layout.components;
  info.in_color_space = layout.components == 1   ? JCS_GRAYSCALE
                        : layout.components == 3 ? JCS_RGB
                                                 : JCS_CMYK;
  jpeg_set_defaults(&info);
  if (layout.ycck) jpeg_set_colorspace(&info, JCS_YCCK);
  jpeg_set_quality(&info, layout.quality, TRUE);
  for (int c = 0; c < info.num_components; ++c) {
    info.comp_info[c].h_samp_factor = c == 0 ? layout.h_sampling : 1;
    info.comp_info[c].v_samp_factor = c == 0 ? layout.v_sampling : 1;
  }
  info.restart_in_rows = layout.restart_rows;
  if (layout.progressive) jpeg_simple_progression(&info);
  jpeg_start_compress(&info, TRUE);
  const std::size_t stride = width * static_cast<std::size_t>(layout.components);
  for (std::size_t row = 0; row < height; ++row) {
    JSAMPROW line = const_cast<JSAMPROW>(samples.data() + row * stride);
    jpeg_write_scanlines(&info, &line, 1);
  }
  jpeg_finish_compress(&info);
  std::string jpeg(reinterpret_cast<char*>(buffer), size);
  jpeg_destroy_compress(&info);
  std::free(buffer);
  return jpeg;
}

}  // namespace QorTest

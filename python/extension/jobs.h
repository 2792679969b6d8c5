#pragma once

#include <brisko_scan/tile_table.h>

#include <pybind11/pybind11.h>

#include <memory>

namespace brisko::python {

/// A table of tiles from its bytes.
std::shared_ptr<const scan::TileTable> toTileTable(const pybind11::bytes& bytes);

/// Adds the whole jobs: convert, check, describe, summarize, split, join; and tables of tiles.
void addJobs(pybind11::module_& module);
/// Adds photos: the pictures of a scan.
void addPhotos(pybind11::module_& module);
/// Adds simulate.
void addSimulator(pybind11::module_& module);

}  // namespace brisko::python

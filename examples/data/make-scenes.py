#!/usr/bin/python3
"""Makes the scenes of this folder again: made-up landscapes, as satellites see them.

    examples/data/make-scenes.py [FOLDER]     by default the folder "scenes" beside this file

Needs numpy and GDAL for Python (python3-numpy, python3-gdal). The pixels are the same whenever it runs.
"""
import os
import sys

import numpy as np
from osgeo import gdal, osr

SIDE = 72


def smooth(field, times):
    for _ in range(times):
        for axis in (0, 1):
            field = (np.roll(field, 1, axis) + 2 * field + np.roll(field, -1, axis)) / 4
    return (field - field.mean()) / field.std()


def landscape(seed, shared):
    """Four bands that have a part of their relief in common, each with some of its own and noise."""
    random = np.random.RandomState(seed)
    relief = smooth(random.standard_normal((SIDE, SIDE)), 30)
    return [share * relief + np.sqrt(1 - share * share) * smooth(random.standard_normal((SIDE, SIDE)), 4)
            + 0.1 * random.standard_normal((SIDE, SIDE)) for share in shared * np.array([1, 0.95, 0.8, -0.5])]


def write(path, bands, kind, no_data=None, options=(), place=(500000, 5400000)):
    dataset = gdal.GetDriverByName("GTiff").Create(path, SIDE, SIDE, len(bands), kind, list(options))
    crs = osr.SpatialReference()
    crs.ImportFromEPSG(32632)
    dataset.SetProjection(crs.ExportToWkt())
    dataset.SetGeoTransform((place[0], 30, 0, place[1], 0, -30))
    for number, band in enumerate(bands, 1):
        if no_data is not None:
            dataset.GetRasterBand(number).SetNoDataValue(no_data)
        dataset.GetRasterBand(number).WriteArray(band)


def main():
    gdal.UseExceptions()
    folder = sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(os.path.abspath(__file__)), "scenes")
    os.makedirs(folder, exist_ok=True)

    def path(name):
        return os.path.join(folder, name)

    def stretched(seed, shared, middle, spread, kind):
        limits = np.iinfo(kind)
        return [np.clip(np.rint(middle + spread * band), limits.min + 1, limits.max).astype(kind)
                for band in landscape(seed, shared)]

    write(path("coast.tif"), stretched(1, 0.95, 120, 30, np.uint8), gdal.GDT_Byte, options=["INTERLEAVE=PIXEL"])
    write(path("forest.tif"), stretched(2, 0.7, 90, 20, np.uint8), gdal.GDT_Byte,
          options=["COMPRESS=DEFLATE", "INTERLEAVE=BAND"])
    # The sensor has seen nothing in one corner.
    delta = stretched(3, 0.85, 9000, 1500, np.uint16)
    rows, columns = np.indices((SIDE, SIDE))
    for band in delta:
        band[rows + columns < SIDE // 2] = 0
    write(path("delta.tif"), delta, gdal.GDT_UInt16, no_data=0, options=["INTERLEAVE=BAND"])
    hills = [(0.2 + 0.05 * band).astype(np.float32) for band in landscape(4, 0.98)]
    hills[2][10:20, 30:50] = -1
    write(path("hills.tif"), hills, gdal.GDT_Float32, no_data=-1,
          options=["TILED=YES", "BLOCKXSIZE=32", "BLOCKYSIZE=32", "COMPRESS=DEFLATE", "PREDICTOR=3"])


main()

// The same with HDF5's own way for ranks. Usage: mpi_hdf5 collective|independent FILE MEGABYTES

#include "mpi_Clock.h"

#include <hdf5.h>

#include <cstring>

int main(int argc, char** argv) {
  MPI_Init(&argc, &argv);
  if (argc < 4)
    mpi_Share::Fail("usage: mpi_hdf5 collective|independent FILE MEGABYTES");
  mpi_Share share(std::atoll(argv[3]));
  const hid_t access = H5Pcreate(H5P_FILE_ACCESS), transfer = H5Pcreate(H5P_DATASET_XFER);
  H5Pset_fapl_mpio(access, MPI_COMM_WORLD, MPI_INFO_NULL);
  H5Pset_dxpl_mpio(transfer,
                   std::strcmp(argv[1], "collective") == 0 ? H5FD_MPIO_COLLECTIVE : H5FD_MPIO_INDEPENDENT);
  const hid_t file = H5Fcreate(argv[2], H5F_ACC_TRUNC, H5P_DEFAULT, access);
  const hid_t properties = H5Pcreate(H5P_DATASET_CREATE);
  H5Pset_fill_time(properties, H5D_FILL_TIME_NEVER);
  const hsize_t all[2] = {static_cast<hsize_t>(share.rows), 3},
                mine[2] = {static_cast<hsize_t>(share.count), 3},
                start[2] = {static_cast<hsize_t>(share.first), 0};
  const hid_t space = H5Screate_simple(2, all, nullptr), memory = H5Screate_simple(2, mine, nullptr);
  H5Sselect_hyperslab(space, H5S_SELECT_SET, start, nullptr, mine, nullptr);
  hid_t data = H5I_INVALID_HID;
  const double wrote = mpi_Share::Time([&] {
    data = H5Dcreate2(file, "field", H5T_NATIVE_DOUBLE, space, H5P_DEFAULT, properties, H5P_DEFAULT);
    return H5Dwrite(data, H5T_NATIVE_DOUBLE, memory, space, transfer, share.numbers.data()) >= 0 &&
           H5Fflush(file, H5F_SCOPE_GLOBAL) >= 0;
  });
  const double read = share.TimeReading(
      [&](double* back) { return H5Dread(data, H5T_NATIVE_DOUBLE, memory, space, transfer, back) >= 0; });
  H5Dclose(data);
  H5Fclose(file);
  if (share.rank == 0)
    std::printf("%.6f %.6f\n", wrote, read);
  MPI_Finalize();
}

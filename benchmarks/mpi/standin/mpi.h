#pragma once

/// A stand-in for MPI, as much of its interface in C as the ranks' library and its measurements call. All
/// ranks of a job run in one process and one thread, one after the other, and what they send, write and ask
/// of the system is counted (job_Ranks.h). Nothing here is fast, or meant for work.

#ifdef __cplusplus
extern "C" {
#endif

typedef struct job_Comm* MPI_Comm;
typedef struct job_File* MPI_File;
typedef struct job_Request* MPI_Request;
typedef const struct job_Type* MPI_Datatype;
struct job_Type {
  int base; /* its place in job_types */
  unsigned long bytes;
};
typedef int MPI_Op;
typedef int MPI_Info;
typedef int MPI_Errhandler;
typedef long MPI_Aint;
typedef long long MPI_Offset;
typedef long long MPI_Count;
typedef struct {
  int MPI_SOURCE, MPI_TAG, MPI_ERROR;
  long long bytes;
} MPI_Status;

extern const struct job_Type job_types[];
extern struct job_Comm job_world, job_self;

#define MPI_COMM_NULL ((MPI_Comm)0)
#define MPI_COMM_WORLD (&job_world)
#define MPI_COMM_SELF (&job_self)
#define MPI_FILE_NULL ((MPI_File)0)
#define MPI_REQUEST_NULL ((MPI_Request)0)
#define MPI_DATATYPE_NULL ((MPI_Datatype)0)
#define MPI_BYTE (job_types + 0)
#define MPI_CHAR (job_types + 1)
#define MPI_INT (job_types + 2)
#define MPI_INT32_T (job_types + 2)
#define MPI_UNSIGNED (job_types + 3)
#define MPI_UINT32_T (job_types + 3)
#define MPI_LONG_LONG (job_types + 4)
#define MPI_INT64_T (job_types + 4)
#define MPI_UNSIGNED_LONG_LONG (job_types + 5)
#define MPI_UINT64_T (job_types + 5)
#define MPI_DOUBLE (job_types + 6)
#define MPI_UINT8_T (job_types + 7)
#define MPI_UNSIGNED_CHAR (job_types + 7)

enum { MPI_SUCCESS = 0, MPI_ERR_OTHER = 15, MPI_ERR_IO = 32, MPI_ERR_IN_STATUS = 18 };
enum { MPI_MIN, MPI_MAX, MPI_SUM, MPI_LAND, MPI_LOR, MPI_BAND, MPI_BOR };
enum { MPI_ANY_SOURCE = -1, MPI_ANY_TAG = -1, MPI_PROC_NULL = -2, MPI_UNDEFINED = -32766 };
enum { MPI_MAX_ERROR_STRING = 256, MPI_MAX_PROCESSOR_NAME = 256 };
enum { MPI_MODE_RDONLY = 2, MPI_MODE_RDWR = 8, MPI_MODE_WRONLY = 4, MPI_MODE_CREATE = 1 };
enum { MPI_ERRORS_ARE_FATAL = 1, MPI_ERRORS_RETURN = 2 };
enum { MPI_THREAD_SINGLE, MPI_THREAD_FUNNELED, MPI_THREAD_SERIALIZED, MPI_THREAD_MULTIPLE };
#define MPI_INFO_NULL 0
#define MPI_IN_PLACE ((void*)-1)
#define MPI_STATUS_IGNORE ((MPI_Status*)0)
#define MPI_STATUSES_IGNORE ((MPI_Status*)0)

int MPI_Init(int* argc, char*** argv);
int MPI_Init_thread(int* argc, char*** argv, int required, int* provided);
int MPI_Initialized(int* flag);
int MPI_Finalized(int* flag);
int MPI_Finalize(void);
int MPI_Abort(MPI_Comm comm, int code);
double MPI_Wtime(void);
int MPI_Get_processor_name(char* name, int* length);
int MPI_Error_string(int code, char* text, int* length);
int MPI_Error_class(int code, int* errorClass);

int MPI_Comm_rank(MPI_Comm comm, int* rank);
int MPI_Comm_size(MPI_Comm comm, int* size);
int MPI_Comm_dup(MPI_Comm comm, MPI_Comm* copy);
int MPI_Comm_free(MPI_Comm* comm);
int MPI_Comm_set_errhandler(MPI_Comm comm, MPI_Errhandler handler);
int MPI_Comm_get_errhandler(MPI_Comm comm, MPI_Errhandler* handler);
int MPI_Errhandler_free(MPI_Errhandler* handler);

int MPI_Type_contiguous(int count, MPI_Datatype of, MPI_Datatype* type);
int MPI_Type_commit(MPI_Datatype* type);
int MPI_Type_free(MPI_Datatype* type);
int MPI_Type_size(MPI_Datatype type, int* size);
int MPI_Get_count(const MPI_Status* status, MPI_Datatype type, int* count);
int MPI_Get_elements_x(const MPI_Status* status, MPI_Datatype type, MPI_Count* count);

int MPI_Send(const void* data, int count, MPI_Datatype type, int dest, int tag, MPI_Comm comm);
int MPI_Recv(void* data, int count, MPI_Datatype type, int source, int tag, MPI_Comm comm,
             MPI_Status* status);
int MPI_Sendrecv(const void* data, int count, MPI_Datatype type, int dest, int tag, void* got, int room,
                 MPI_Datatype gotType, int source, int gotTag, MPI_Comm comm, MPI_Status* status);
int MPI_Isend(const void* data, int count, MPI_Datatype type, int dest, int tag, MPI_Comm comm,
              MPI_Request* request);
int MPI_Irecv(void* data, int count, MPI_Datatype type, int source, int tag, MPI_Comm comm,
              MPI_Request* request);
int MPI_Wait(MPI_Request* request, MPI_Status* status);
int MPI_Waitall(int count, MPI_Request* requests, MPI_Status* statuses);
int MPI_Probe(int source, int tag, MPI_Comm comm, MPI_Status* status);

int MPI_Barrier(MPI_Comm comm);
int MPI_Bcast(void* data, int count, MPI_Datatype type, int root, MPI_Comm comm);
int MPI_Reduce(const void* mine, void* all, int count, MPI_Datatype type, MPI_Op op, int root, MPI_Comm comm);
int MPI_Allreduce(const void* mine, void* all, int count, MPI_Datatype type, MPI_Op op, MPI_Comm comm);
int MPI_Exscan(const void* mine, void* below, int count, MPI_Datatype type, MPI_Op op, MPI_Comm comm);
int MPI_Scan(const void* mine, void* upTo, int count, MPI_Datatype type, MPI_Op op, MPI_Comm comm);
int MPI_Gather(const void* mine, int count, MPI_Datatype type, void* all, int countOfEach,
               MPI_Datatype allType, int root, MPI_Comm comm);
int MPI_Gatherv(const void* mine, int count, MPI_Datatype type, void* all, const int* counts,
                const int* places, MPI_Datatype allType, int root, MPI_Comm comm);
int MPI_Allgather(const void* mine, int count, MPI_Datatype type, void* all, int countOfEach,
                  MPI_Datatype allType, MPI_Comm comm);
int MPI_Allgatherv(const void* mine, int count, MPI_Datatype type, void* all, const int* counts,
                   const int* places, MPI_Datatype allType, MPI_Comm comm);
int MPI_Scatter(const void* all, int countOfEach, MPI_Datatype allType, void* mine, int count,
                MPI_Datatype type, int root, MPI_Comm comm);
int MPI_Scatterv(const void* all, const int* counts, const int* places, MPI_Datatype allType, void* mine,
                 int count, MPI_Datatype type, int root, MPI_Comm comm);
int MPI_Alltoall(const void* mine, int count, MPI_Datatype type, void* all, int countOfEach,
                 MPI_Datatype allType, MPI_Comm comm);
int MPI_Alltoallv(const void* mine, const int* counts, const int* places, MPI_Datatype type, void* all,
                  const int* allCounts, const int* allPlaces, MPI_Datatype allType, MPI_Comm comm);

int MPI_Info_create(MPI_Info* info);
int MPI_Info_set(MPI_Info info, const char* key, const char* value);
int MPI_Info_free(MPI_Info* info);
int MPI_File_open(MPI_Comm comm, const char* name, int mode, MPI_Info info, MPI_File* file);
int MPI_File_close(MPI_File* file);
int MPI_File_set_errhandler(MPI_File file, MPI_Errhandler handler);
int MPI_File_set_atomicity(MPI_File file, int flag);
int MPI_File_get_size(MPI_File file, MPI_Offset* size);
int MPI_File_read_at(MPI_File file, MPI_Offset at, void* data, int count, MPI_Datatype type,
                     MPI_Status* status);
int MPI_File_write_at(MPI_File file, MPI_Offset at, const void* data, int count, MPI_Datatype type,
                      MPI_Status* status);
int MPI_File_sync(MPI_File file);

#ifdef __cplusplus
}
#endif

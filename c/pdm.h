#ifndef PDM_H
#define PDM_H

// A simulation file from C: open a file, read and write its mesh, sets, fields, steps and systems.
//
//     pdm_sim* sim; pdm_mesh* mesh; pdm_field* heat;
//     if (pdm_open("a.pdm", PDM_READ, &sim) || pdm_sim_mesh(sim, &mesh) ||
//         pdm_mesh_field(mesh, PDM_NODES, "heat", &heat) || pdm_field_read_double(heat, 0, q, n))
//       fprintf(stderr, "%s\n", pdm_error_message());
//     pdm_close(sim);
//
// Failures. A call answers PDM_OK (0) or says in this thread's error what failed: file, path in the model,
// operation and cause. It then has changed nothing that it was to fill, but handles, which become NULL.
// Nothing is printed, and no C++ exception leaves a call.
//
// Handles. A pointer to one of the types below is a name that is looked up, not an address. Handles made of a
// Sim end when it is closed, so closing it is enough; pdm_free() ends one earlier. A handle that has ended,
// is NULL or of another type is refused with PDM_BAD_HANDLE, also by pdm_free(): no value comes twice in a
// process.
//
// Numbers of nodes, elements, steps and equations begin at 0. Texts are UTF-8 and end with a zero byte. The
// count of a buffer is the numbers it has room for; a larger buffer than needed is filled at its beginning.
//
// Stability. From version 1.0 on no function, constant or member of a struct is changed or taken away before
// 2.0. Structs grow at their end: their first member is the size that the caller was compiled with.
//
// Threads: one at a time for a Sim and all handles made of it; different Sims in different threads at the
// same time.

#include <stddef.h>
#include <stdint.h>

#define PDM_VERSION_MAJOR 0
#define PDM_VERSION_MINOR 1
#define PDM_VERSION_PATCH 0

#if defined(__GNUC__)
#define PDM_API __attribute__((visibility("default")))
#else
#define PDM_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef struct pdm_sim pdm_sim;             ///< an open simulation file
typedef struct pdm_update pdm_update;       ///< writes that become one commit point
typedef struct pdm_mesh pdm_mesh;           ///< the file's mesh
typedef struct pdm_set pdm_set;             ///< an ordered list of items, such as nodes
typedef struct pdm_field pdm_field;         ///< numbers over items, in drawers; of a result one a step
typedef struct pdm_system pdm_system;       ///< a system of equations on the mesh
typedef struct pdm_numbering pdm_numbering; ///< the equations of a system
typedef struct pdm_pattern pdm_pattern;     ///< where a matrix over the mesh is not zero
typedef struct pdm_names pdm_names;         ///< a list of names as they were when it was made

/// What a call answers. Whatever is not 0 is a failure; later versions may have further codes.
typedef enum pdm_status {
  PDM_OK = 0,
  PDM_FAILED = 1,       ///< the file or the library refused
  PDM_BAD_HANDLE = 2,   ///< a handle that is NULL, has ended or is of another type
  PDM_BAD_ARGUMENT = 3, ///< a pointer that is NULL, a number that means nothing, or a call out of turn
  PDM_SHORT_BUFFER = 4, ///< pdm_error_needed() says what the buffer must have room for
  PDM_NOT_FOUND = 5,    ///< no object of that name, number or time
  PDM_WRONG_TYPE = 6,   ///< numbers that do not all fit into the type
  PDM_NO_MEMORY = 7
} pdm_status;

/// \return the version of the library, "0.1.0".
PDM_API const char* pdm_version(void);

// The last failure of this thread. Texts are "" where there is none, and valid until the next failure in it.

/// \return "FILE: PATH: OPERATION: CAUSE" in one line, without the parts that are empty.
PDM_API const char* pdm_error_message(void);
PDM_API const char* pdm_error_file(void);      ///< the file, as it was named to pdm_open() or pdm_create()
PDM_API const char* pdm_error_path(void);      ///< where in it, "discreteModel/mesh/nodeSets/inlet"
PDM_API const char* pdm_error_operation(void); ///< what was to be done, "open a file"
PDM_API const char* pdm_error_cause(void);     ///< why it was not, "the handle is NULL"
PDM_API pdm_status pdm_error_status(void);     ///< what the call answered; PDM_OK before the first failure
/// \return after PDM_SHORT_BUFFER the count that is needed, else 0.
PDM_API size_t pdm_error_needed(void);

/// Ends a handle of any type. A Sim is closed with its last handle; an update is taken back.
/// \param handle  NULL is allowed.
PDM_API pdm_status pdm_free(void* handle);
/// Makes another handle of the same object, which is freed on its own.
/// \return NULL on failure.
PDM_API void* pdm_share(void* handle);
/// \return 1 for a handle of any type that has not ended, else 0; never a failure.
PDM_API int pdm_is_open(const void* handle);
/// Keeps a failure of a layer above, such as one for another language, as this thread's error.
/// \param handle  gives file and path; NULL: there are none.
/// \return `status`.
PDM_API pdm_status pdm_refuse(void* handle, pdm_status status, const char* operation, const char* cause);

/// \return the number of names, 0 on failure.
PDM_API int32_t pdm_names_count(pdm_names* names);
/// \return the name, valid until the handle ends; NULL when there is none of that number.
PDM_API const char* pdm_names_at(pdm_names* names, int32_t index);

// Files.

/// How a file is opened: one of the modes, and for writers perhaps `| PDM_POWER` or `| PDM_SCRATCH`.
enum {
  PDM_READ = 0,      ///< for reading only
  PDM_WRITE = 1,     ///< for reading and writing; one program at a time
  PDM_LIVE = 2,      ///< for reading beside a writer; pdm_refresh() moves on
  PDM_UNTRUSTED = 3, ///< for reading, after a child process with limits has looked at all of it
  PDM_REPLACE = 8,   ///< of pdm_create(): a closed simulation file of that name gives way
  PDM_SCRATCH = 16,  ///< commit points survive nothing, updates cannot be taken back
  PDM_POWER = 32     ///< commit points survive the loss of power, not only the death of the process
};

/// Opens a simulation file.
PDM_API pdm_status pdm_open(const char* path, int mode, pdm_sim** sim);
/// Makes a simulation file without a mesh, open for writing. It appears under its name whole.
/// \param flags  0 or a sum of PDM_REPLACE and PDM_POWER or PDM_SCRATCH.
PDM_API pdm_status pdm_create(const char* path, int flags, pdm_sim** sim);
/// Closes a file and ends all handles made of it, also on failure.
/// \return a failure when something was lost: an update was open, or the disk would not take it.
PDM_API pdm_status pdm_close(pdm_sim* sim);
/// Moves a live Sim on to its writer's newest commit point. Handles stay valid.
PDM_API pdm_status pdm_refresh(pdm_sim* sim);
/// How long opening waits for a file that another process holds, in all threads; at first 0.
PDM_API pdm_status pdm_set_waiting_time(int32_t milliseconds);

/// Begins an update, which joins all writes into one commit point. Outside of updates each call that writes
/// is one. PDM_BAD_ARGUMENT while another of the Sim is open: what an update takes back is everything since
/// the last commit point.
PDM_API pdm_status pdm_begin(pdm_sim* sim, pdm_update** update);
/// Makes the commit point and ends the handle. After a failure the update is open still.
PDM_API pdm_status pdm_commit(pdm_update* update);
/// Takes back everything since the last commit point, and ends the handle.
PDM_API pdm_status pdm_rollback(pdm_update* update);

// Meshes.

/// What sets and fields are over, and what a mesh counts.
enum {
  PDM_NODES = 0,
  PDM_ELEMENTS = 1,
  PDM_FACES = 2,     ///< counts alone
  PDM_INSTANCES = 3, ///< counts and sets
  PDM_REGIONS = 4,   ///< counts, sets and fields
  PDM_STEPS = 5,     ///< counts and fields; the steps have times
  PDM_SURFACES = 6,  ///< counts and fields, that have the rows of the surface of their name
  PDM_MESH = 7,      ///< fields of the mesh as a whole
  PDM_BLOCKS = 8     ///< counts alone
};

/// \param mesh  PDM_NOT_FOUND when the file has none.
PDM_API pdm_status pdm_sim_mesh(pdm_sim* sim, pdm_mesh** mesh);
/// Makes the mesh of a file that has none.
/// \param mesh  may be NULL.
PDM_API pdm_status pdm_sim_create_mesh(pdm_sim* sim, int32_t nodes, int32_t elements, pdm_mesh** mesh);
/// \param of  PDM_NODES, ELEMENTS, FACES, INSTANCES, REGIONS, STEPS, SURFACES or BLOCKS.
PDM_API pdm_status pdm_mesh_count(pdm_mesh* mesh, int of, int32_t* count);
/// \param axes  2 or 3; 0 when there are no coordinates.
PDM_API pdm_status pdm_mesh_dimension(pdm_mesh* mesh, int32_t* axes);
/// The user's numbers of nodes or elements; 1, 2, 3... where the mesh has none.
/// \param of  PDM_NODES or PDM_ELEMENTS.
PDM_API pdm_status pdm_mesh_labels(pdm_mesh* mesh, int of, int64_t* labels, size_t count);
/// The times of the steps.
PDM_API pdm_status pdm_mesh_times(pdm_mesh* mesh, double* times, size_t count);
/// Gives the mesh its steps, with these times in ascending order.
PDM_API pdm_status pdm_mesh_set_times(pdm_mesh* mesh, const double* times, size_t count);
/// Adds a step. Cost: O(steps).
PDM_API pdm_status pdm_mesh_append_time(pdm_mesh* mesh, double time);

/// Elements of one type. Their nodes are the drawer of the block's number of the element field
/// "connectivity", [elements][nodes_per_element].
typedef struct pdm_block_info {
  size_t size;      ///< sizeof(pdm_block_info)
  int32_t elements; ///< number of elements
  int32_t nodes_per_element;
  int64_t id;       ///< the user's number
  const char* name; ///< "" without; valid until the next such call on this handle
  const char* type; ///< "HEX8"; valid likewise
} pdm_block_info;
PDM_API pdm_status pdm_mesh_block(pdm_mesh* mesh, int32_t block, pdm_block_info* info);
/// Makes a block of the elements that follow those of the blocks so far, with an element set and a region of
/// its name.
/// \param name   NULL or "": block_1, block_2...
/// \param type   of its elements, "HEX8", whose nodes are in the order of Exodus II.
/// \param width  nodes an element.
/// \param nodes  [elements][width]; -1 fills up polygons.
/// \param count  elements x width.
PDM_API pdm_status pdm_mesh_create_block(pdm_mesh* mesh, const char* name, const char* type, int32_t width,
                                         const int32_t* nodes, size_t count);

// Sets.

/// \param of  PDM_NODES, ELEMENTS, INSTANCES or REGIONS.
PDM_API pdm_status pdm_mesh_set_names(pdm_mesh* mesh, int of, pdm_names** names);
PDM_API pdm_status pdm_mesh_set(pdm_mesh* mesh, int of, const char* name, pdm_set** set);
/// Stores a new set.
/// \param items    [count] in any order, none twice.
/// \param replace  0: a set of that name that is there already is a failure.
/// \param set      may be NULL.
PDM_API pdm_status pdm_mesh_create_set(pdm_mesh* mesh, int of, const char* name, const int32_t* items,
                                       size_t count, int replace, pdm_set** set);
/// Takes a name out of the mesh. What it named stays in the file, and where fields are over it.
PDM_API pdm_status pdm_mesh_remove_set(pdm_mesh* mesh, int of, const char* name);
PDM_API pdm_status pdm_set_size(pdm_set* set, int32_t* size);
/// The items in the set's order.
PDM_API pdm_status pdm_set_items(pdm_set* set, int32_t* items, size_t count);

// Surfaces: pairs of an element and the number of one of its sides, from 0 in the order of Exodus II.

PDM_API pdm_status pdm_mesh_surface_names(pdm_mesh* mesh, pdm_names** names);
/// \param sides  number of sides.
PDM_API pdm_status pdm_mesh_surface_size(pdm_mesh* mesh, const char* name, int32_t* sides);
/// \param elements  [count]
/// \param sides     [count] the number of each side at its element.
PDM_API pdm_status pdm_mesh_surface(pdm_mesh* mesh, const char* name, int32_t* elements, int32_t* sides,
                                    size_t count);
/// Stores a new surface.
PDM_API pdm_status pdm_mesh_create_surface(pdm_mesh* mesh, const char* name, const int32_t* elements,
                                           const int32_t* sides, size_t count);

// Fields.

/// The types of stored numbers. Reading takes the stored type or one that holds all its numbers: int32 as
/// int64 or double, float as double. Writing likewise.
enum { PDM_INT32 = 0, PDM_INT64 = 1, PDM_FLOAT = 2, PDM_DOUBLE = 3 };

/// Instead of a drawer's number: the only one. PDM_NOT_FOUND where there are several.
#define PDM_ONLY (-INT32_MAX)

/// What a field is, and one drawer of it.
typedef struct pdm_field_info {
  size_t size;            ///< sizeof(pdm_field_info)
  int32_t drawers;        ///< number of drawers; 0: nothing is written yet, and the drawer's members are 0
  int32_t steps;          ///< number of steps that are written
  int32_t drawers_a_step; ///< 1, or one for each set that the field is over
  int32_t type;           ///< of the drawer
  int32_t rows;           ///< of the drawer, one for each item
  int32_t components;     ///< of the drawer, numbers a row
  const char* name;       ///< valid until the next such call on this handle
  const char* unit;       ///< "" without; valid likewise
  const char* long_name;  ///< of the drawer, "" without; valid likewise
} pdm_field_info;

/// What a new field or drawer shall be beside its numbers.
typedef struct pdm_field_options {
  size_t size;           ///< sizeof(pdm_field_options); 0 elsewhere is the default
  const char* unit;      ///< of the numbers
  const char* long_name; ///< for people; an element type or the names of components
  pdm_set* over;         ///< the items that the rows belong to; NULL: all of them
  int32_t components;    ///< numbers a row; 0: as many as the count makes
  int32_t replace;       ///< not 0: a field of that name gives way
  int32_t deflate;       ///< 0: as they are; 1 (fast) to 9 (small): compressed
  int32_t chunk_rows;    ///< rows a chunk; 0: in one block
} pdm_field_options;

/// \param of  PDM_NODES, ELEMENTS, REGIONS, STEPS, SURFACES or MESH.
PDM_API pdm_status pdm_mesh_field_names(pdm_mesh* mesh, int of, pdm_names** names);
PDM_API pdm_status pdm_mesh_field(pdm_mesh* mesh, int of, const char* name, pdm_field** field);
/// Stores a new field of one drawer, or of none, for pdm_field_append() to fill step by step.
/// \param type     of the numbers, PDM_DOUBLE.
/// \param values   [rows][components]; NULL with count 0: no drawer.
/// \param count    rows x components.
/// \param options  NULL: the defaults.
/// \param field    may be NULL.
PDM_API pdm_status pdm_mesh_create_field(pdm_mesh* mesh, int of, const char* name, int type,
                                         const void* values, size_t count, const pdm_field_options* options,
                                         pdm_field** field);
/// As pdm_mesh_remove_set().
PDM_API pdm_status pdm_mesh_remove_field(pdm_mesh* mesh, int of, const char* name);
/// \param drawer  0 also of a field without drawers.
PDM_API pdm_status pdm_field_get_info(pdm_field* field, int32_t drawer, pdm_field_info* info);
/// Reads a drawer, checked against its checksums.
/// \param out    [rows][components]
/// \param count  room in `out`.
PDM_API pdm_status pdm_field_read(pdm_field* field, int32_t drawer, int type, void* out, size_t count);
/// Reads some rows.
/// \param first  the first row.
/// \param out    [rows][components]
PDM_API pdm_status pdm_field_read_rows(pdm_field* field, int32_t drawer, int32_t first, int32_t rows,
                                       int type, void* out, size_t count);
/// Writes a whole drawer anew.
/// \param values  [rows][components]
/// \param count   rows x components exactly.
PDM_API pdm_status pdm_field_write(pdm_field* field, int32_t drawer, int type, const void* values,
                                   size_t count);
/// Adds a drawer, such as the next step of a result.
/// \param options  items and components are the first drawer's where they say nothing. May be NULL.
PDM_API pdm_status pdm_field_append(pdm_field* field, int type, const void* values, size_t count,
                                    const pdm_field_options* options);
/// \param drawer  that of the step at a time of the mesh, to a billionth of their range.
PDM_API pdm_status pdm_field_drawer_at(pdm_field* field, double time, int32_t* drawer);
/// \param set  the items that the drawer's rows belong to.
PDM_API pdm_status pdm_field_set(pdm_field* field, int32_t drawer, pdm_set** set);

// Systems.

enum { PDM_PLAIN = 0, PDM_GENERIC = 1, PDM_MODAL = 2, PDM_SUBSTRUCTURE = 3, PDM_OTHER = 4 };

typedef struct pdm_system_info {
  size_t size;            ///< sizeof(pdm_system_info)
  int32_t kind;           ///< PDM_MODAL; PDM_OTHER for a class of a host's own
  int32_t modes;          ///< number of frequencies
  int32_t shapes;         ///< number of mode shapes
  const char* name;       ///< "" without; valid until the next such call on this handle
  const char* class_name; ///< "com.vertana.ModalSystem"; valid likewise
} pdm_system_info;

/// \param names  in the order of the mesh, "" for systems without.
PDM_API pdm_status pdm_mesh_system_names(pdm_mesh* mesh, pdm_names** names);
PDM_API pdm_status pdm_mesh_system(pdm_mesh* mesh, int32_t index, pdm_system** system);
/// \param system  the first of that name.
PDM_API pdm_status pdm_mesh_find_system(pdm_mesh* mesh, const char* name, pdm_system** system);
/// Adds a system.
/// \param kind    PDM_PLAIN, GENERIC, MODAL or SUBSTRUCTURE.
/// \param system  may be NULL.
PDM_API pdm_status pdm_mesh_create_system(pdm_mesh* mesh, const char* name, int kind, pdm_system** system);
PDM_API pdm_status pdm_system_get_info(pdm_system* system, pdm_system_info* info);
PDM_API pdm_status pdm_system_field_names(pdm_system* system, pdm_names** names);
PDM_API pdm_status pdm_system_field(pdm_system* system, const char* name, pdm_field** field);
/// As pdm_mesh_create_field(); without `over` the rows are items of their own.
PDM_API pdm_status pdm_system_create_field(pdm_system* system, const char* name, int type, const void* values,
                                           size_t count, const pdm_field_options* options, pdm_field** field);
/// In Hz, negative for unstable modes.
PDM_API pdm_status pdm_system_frequencies(pdm_system* system, double* hertz, size_t count);
PDM_API pdm_status pdm_system_set_frequencies(pdm_system* system, const double* hertz, size_t count);
/// \param shapes  a drawer a mode.
PDM_API pdm_status pdm_system_mode_shapes(pdm_system* system, pdm_field** shapes);
/// Stores which degrees of freedom are active.
/// \param masks  [count] one a node; bit b-1 is set where degree of freedom b is active, 1 to 31.
PDM_API pdm_status pdm_system_set_activity(pdm_system* system, const int32_t* masks, size_t count);
/// The masks, as they were stored. PDM_NOT_FOUND when none are.
PDM_API pdm_status pdm_system_activity(pdm_system* system, int32_t* masks, size_t count);
/// Stores the solver's order of a modal system.
/// \param equations  [count] the equation at each of the solver's places.
PDM_API pdm_status pdm_system_set_order(pdm_system* system, const int32_t* equations, size_t count);

/// Numbers the active degrees of freedom, node by node and by ascending label within a node.
PDM_API pdm_status pdm_system_numbering(pdm_system* system, pdm_numbering** numbering);

typedef struct pdm_numbering_info {
  size_t size;       ///< sizeof(pdm_numbering_info)
  int32_t nodes;     ///< number of nodes
  int32_t equations; ///< number of equations
  int32_t labels;    ///< number of labels that are active anywhere
  int32_t places;    ///< of the solver; all equations where it has no order
  int32_t has_order; ///< 0: the solver has no order of its own
} pdm_numbering_info;
PDM_API pdm_status pdm_numbering_get_info(pdm_numbering* numbering, pdm_numbering_info* info);
/// The labels that are active anywhere, ascending.
PDM_API pdm_status pdm_numbering_labels(pdm_numbering* numbering, int32_t* labels, size_t count);
/// Node and label of each equation. Either may be NULL.
PDM_API pdm_status pdm_numbering_equations(pdm_numbering* numbering, int32_t* nodes, int32_t* labels,
                                           size_t count);
/// \param equation  of a degree of freedom, -1 where it has none.
/// \param label     from 1.
PDM_API pdm_status pdm_numbering_equation(pdm_numbering* numbering, int32_t node, int32_t label,
                                          int32_t* equation);
/// The equation at each of the solver's places.
PDM_API pdm_status pdm_numbering_order(pdm_numbering* numbering, int32_t* equations, size_t count);

/// Finds the places of a matrix that are not zero, where elements couple all equations of their nodes. Rows
/// and columns are the solver's places.
PDM_API pdm_status pdm_mesh_pattern(pdm_mesh* mesh, pdm_numbering* numbering, pdm_pattern** pattern);
PDM_API pdm_status pdm_pattern_size(pdm_pattern* pattern, int32_t* rows, int64_t* entries);
/// Reads a pattern by rows (CSR).
/// \param begin    [rows + 1] where each row begins in `columns`, and their number.
/// \param begins   room in `begin`.
/// \param columns  [entries] ascending within a row.
/// \param count    room in `columns`.
PDM_API pdm_status pdm_pattern_read(pdm_pattern* pattern, int64_t* begin, size_t begins, int32_t* columns,
                                    size_t count);

// Reading and writing by the type of the pointer: pdm_field_read_double(field, drawer, out, count),
// pdm_field_write_float(field, drawer, values, count), pdm_field_append_int32(field, values, count, options).

#define PDM_TYPED(word, number, type)                                                                        \
  static inline pdm_status pdm_field_read_##word(pdm_field* field, int32_t drawer, number* out,              \
                                                 size_t count) {                                             \
    return pdm_field_read(field, drawer, type, out, count);                                                  \
  }                                                                                                          \
  static inline pdm_status pdm_field_write_##word(pdm_field* field, int32_t drawer, const number* values,    \
                                                  size_t count) {                                            \
    return pdm_field_write(field, drawer, type, values, count);                                              \
  }                                                                                                          \
  static inline pdm_status pdm_field_append_##word(pdm_field* field, const number* values, size_t count,     \
                                                   const pdm_field_options* options) {                       \
    return pdm_field_append(field, type, values, count, options);                                            \
  }
PDM_TYPED(int32, int32_t, PDM_INT32)
PDM_TYPED(int64, int64_t, PDM_INT64)
PDM_TYPED(float, float, PDM_FLOAT)
PDM_TYPED(double, double, PDM_DOUBLE)
#undef PDM_TYPED

#ifdef __cplusplus
}
#endif

#endif

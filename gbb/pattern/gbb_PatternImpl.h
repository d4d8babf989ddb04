#pragma once

// Part of gbb_Pattern.h: implementations and their base parts.

inline constexpr char gbb_kBaseGroup[] = "#base";

template <class Traits, class Base>
void gbb_BasePart<Traits, Base>::New(typename Base::Interface* outer, Initial& initial, int trace) {
  m_holder = std::apply(
      [&](auto&... values) { return Base::Handle::New(outer, std::move(values)..., trace); }, initial);
  m_holder.MarkBasePart();
}

template <class Traits, class Base>
void gbb_BasePart<Traits, Base>::Open(typename Base::Interface* outer, const gbb_Path& parent, int index,
                                      const gbb_Group& group, int trace) {
  m_holder = Holder::Open(outer, parent, index, gbb_Group::Open(group, gbb_kBaseGroup), trace);
  if (!!m_holder)
    m_holder.MarkBasePart();
}

template <class Traits, class Base>
void gbb_BasePart<Traits, Base>::Bind(const gbb_Group& group) const {
  if (!!m_holder)
    m_holder.Bind(gbb_Group::Create(group, gbb_kBaseGroup));
}

template <class Traits, class Base>
void* gbb_BasePart<Traits, Base>::Handle(gbb_Class wanted) const {
  return m_holder.Handle(wanted);
}

template <class Traits, class Base>
gbb_Handle gbb_BasePart<Traits, Base>::Traverse(gbb_TraverseContext& context) const {
  return m_holder.Traverse(context);
}

template <class Traits>
gbb_Handle gbb_BasePart<Traits, void>::Traverse(gbb_TraverseContext& context) const {
  context.SetStatus(gbb_kBroken);
  return {};
}

template <class Traits>
gbb_ObjectImpl<Traits>::gbb_ObjectImpl(InterfaceType* outer, Initial initial,
                                       typename BasePart::Initial baseInitial, int trace)
    : m_interface(outer != nullptr ? outer : this), m_trace(trace), m_initial(std::move(initial)) {
  m_base.New(this, baseInitial, trace);
}

template <class Traits>
gbb_ObjectImpl<Traits>::gbb_ObjectImpl(InterfaceType* outer, const gbb_Path& parent, int index,
                                       const gbb_Group& group, int trace)
    : m_interface(outer != nullptr ? outer : this), m_group(group), m_trace(trace), m_connected(true),
      m_path(parent, index) {
  m_base.Open(this, parent, index, group, trace);
}

template <class Traits>
void gbb_ObjectImpl<Traits>::AttachTo(InterfaceType* outer) {
  InterfaceType::Attach(outer, static_cast<typename Traits::Impl*>(this));
}

template <class Traits>
gbb_ObjectImpl<Traits>::~gbb_ObjectImpl() {
  InterfaceType::Detach(*m_interface, this);
  delete m_members;
}

template <class Traits>
template <gbb_Text... Parts>
void gbb_ObjectImpl<Traits>::Trace() const {
  if (m_trace != 0)
    gbb_Print<Traits::kName, "Impl::", Parts...>();
}

template <class Traits>
void gbb_ObjectImpl<Traits>::SetPath(const gbb_Path& parent, int index) {
  m_path = gbb_PathImpl(parent, index);
  m_context = {};
  m_base.SetPath(parent, index);
  m_children.SetPath(Path());
}

template <class Traits>
gbb_Class gbb_ObjectImpl<Traits>::Class() const {
  return m_interface == this ? InterfaceType::StaticClass() : m_interface->Class();
}

template <class Traits>
void* gbb_ObjectImpl<Traits>::Handle(gbb_Class wanted) {
  if (wanted == InterfaceType::StaticClass())
    return static_cast<typename Traits::Impl*>(this);
  return m_base.Handle(wanted);
}

// The context of the object's file, found once for each place that the object is given. A place that leads to
// no file, after a line, may do so later: an owner may be placed.
template <class Traits>
ORXSimContextID gbb_ObjectImpl<Traits>::Context() {
  if (m_context.IsNull())
    m_context = gbb_ContextOf(Path());
  return m_context;
}

template <class Traits>
void gbb_ObjectImpl<Traits>::LookAgain() {
  if (!m_connected)
    return m_freshness.Keep();
  const std::uint64_t before = m_freshness.Change();
  const gbb_Freshness::Answer answer = m_freshness.Look(Path(), m_group.Object());
  if (m_freshness.Change() != before) { // once for each: an access may already have fetched the new ones
    Trace<"LookAgain: dropping ", Traits::kName, "Members\n">();
    DiscardMembers(m_members);
    m_damaged = false;
  }
  if (answer == gbb_Freshness::kGone)
    m_group.Drop();
}

template <class Traits>
void gbb_ObjectImpl<Traits>::Bind(const gbb_Group& group) {
  Trace<"Bind\n">();
  if (m_connected) {
    gbb_Print<"** ERROR ", Traits::kName, "Impl::Bind: called for a connected object\n">();
    return;
  }
  const gbb_Call call(gbb_HeadOf<Traits, "Impl::Bind">());
  const ORXSimQuiet quiet;
  const ORXSimContextID context = Context();
  ORXSimUpdate update(context);
  const std::uint64_t before = ORXSimManager::Epochs();
  m_group = group;
  if (m_group.WriteClass(m_interface->Class().ClassID()))
    BindMembers(context);
  gbb_DescribeClass(Path(), context, Traits::kPersistentName, Traits::kDescription);
  m_base.Bind(m_group);
  m_children.Bind(Owner());
  m_connected = true;
  m_freshness.KeepOf(before);
  gbb_CommitBound(update, context);
}

template <class Traits>
void gbb_ObjectImpl<Traits>::BindMembers(ORXSimContextID context) {
  if (m_members == nullptr)
    m_members = CreateMembers();
  Trace<"BindMembers: saving ", Traits::kName, "Members\n">();
  gbb_MemoryStream::Buffer bytes;
  if (!Encode(bytes, context))
    bytes = gbb_MemoryStream(context).GetBuffer(); // no members: they are defaults when read back
  m_group.CreateMembers(bytes);
  m_streamSize = bytes.Length();
}

template <class Traits>
gbb_Handle gbb_ObjectImpl<Traits>::Traverse(gbb_TraverseContext& context) {
  gbb_Handle found;
  Sync();
  return m_children.Traverse(Owner(), context, found) ? found : m_base.Traverse(context);
}

template <class Traits>
const typename Traits::Members* gbb_ObjectImpl<Traits>::ReadMembers() {
  Sync();
  if (m_members == nullptr)
    m_members = m_connected ? LoadMembers() : CreateMembers();
  else if (m_unread)
    LoadMembersAgain();
  return m_members;
}

template <class Traits>
typename Traits::Members* gbb_ObjectImpl<Traits>::WriteMembers() {
  if (m_members != nullptr && !m_connected)
    return CopyMembers();
  ReadMembers();
  gbb_Call::Check(!m_unread);
  return m_members;
}

template <class Traits>
void gbb_ObjectImpl<Traits>::CommitMembers(Members* members) {
  Sync();
  if (members != m_members) {
    DiscardMembers(m_members);
    m_members = members;
  }
  if (!m_connected)
    return;
  Trace<"CommitMembers: saving ", Traits::kName, "Members\n">();
  SaveMembers();
}

template <class Traits>
void gbb_ObjectImpl<Traits>::DiscardMembers(Members* members) {
  if (members == m_members && members != nullptr) {
    m_members = nullptr;
    ++m_cacheNumber;
  }
  delete members;
}

template <class Traits>
typename Traits::Members* gbb_ObjectImpl<Traits>::CreateMembers() {
  Trace<"CreateMembers: creating ", Traits::kName, "Members\n">();
  return std::apply([](const auto&... values) { return new Members(values...); }, m_initial);
}

template <class Traits>
typename Traits::Members* gbb_ObjectImpl<Traits>::CopyMembers() const {
  Trace<"CopyMembers: copying ", Traits::kName, "Members\n">();
  return new Members(*m_members);
}

template <class Traits>
typename Traits::Members* gbb_ObjectImpl<Traits>::LoadMembers() {
  Trace<"LoadMembers: loading ", Traits::kName, "Members\n">();
  auto members = std::make_unique<Members>();
  gbb_MemoryStream::Buffer bytes;
  bool unread = false;
  const gbb_MemoryStream::Error error = m_group.ReadMembers(bytes, unread);
  m_damaged = error == gbb_MemoryStream::kDamaged;
  gbb_MemoryStream stream(bytes, Context(), error);
  gbb_Readers<Traits>::ReadAll(stream, *members);
  if (stream.GetError() != gbb_MemoryStream::kGood) {
    gbb_Print<"**ERROR ", Traits::kName, "Impl::LoadMembers: error ">();
    err_Write(stream.GetError());
    err_Write(" loading class data\n");
  }
  m_unread = unread;
  return members.release();
}

// The defaults that an access may still write into stay until the next time; they are stale from now on.
template <class Traits>
void gbb_ObjectImpl<Traits>::LoadMembersAgain() {
  std::unique_ptr<Members> members(LoadMembers());
  if (m_unread)
    return;
  m_stale.reset(std::exchange(m_members, members.release()));
  ++m_cacheNumber;
}

// The cached members as a stream; false after a line when one of them cannot be stored.
template <class Traits>
bool gbb_ObjectImpl<Traits>::Encode(gbb_MemoryStream::Buffer& bytes, ORXSimContextID context) {
  gbb_MemoryStream stream(context);
  stream.Reserve(m_streamSize);
  gbb_ForEach<typename gbb_MemberTable<Traits>::Members>(
      [&](auto member) { gbb_WriteMember(stream, member.kIndex, m_members->*member.kField); });
  if (stream.GetError() != gbb_MemoryStream::kGood) {
    gbb_Print<"**ERROR ", Traits::kName, "Impl::SaveMembers: error ">();
    err_Write(stream.GetError());
    err_Write(" saving class data\n");
    return false;
  }
  bytes = stream.GetBuffer();
  return true;
}

template <class Traits>
void gbb_ObjectImpl<Traits>::SaveMembers() {
  if (m_damaged || m_unread) { // defaults must not take the place of what might be saved by other means
    m_group.RefuseMembers(m_damaged ? gbb_MemoryStream::kDamaged : gbb_MemoryStream::kPastLimit);
    DiscardMembers(m_members);
    if (m_unread)
      gbb_TakeBack(Context());
    return;
  }
  gbb_MemoryStream::Buffer bytes;
  const ORXSimContextID context = Context();
  if (!Encode(bytes, context)) {
    DiscardMembers(m_members); // or no later member could be saved beside it
    return;
  }
  const ORXSimQuiet quiet; // over the commit point too
  const bool written = m_group.WriteMembers(bytes);
  m_streamSize = bytes.Length();
  if (written) {
    gbb_Commit(context);
    return;
  }
  DiscardMembers(m_members); // what is read next is what the file holds
  gbb_TakeBack(context);
}

// The base of every traversal: context, clip planes, counters, and the order of one application.
//
// A traversal object is made once per view or purpose and applied many times:
//   Apply = AsyncApply (update the root, zero the counters, StartTraversal) + WaitForCompletion
//   (EndTraversal).
// Everything runs on the calling thread. A derived traversal may override AsyncApply and
// WaitForCompletion to run elsewhere and join later; none here does.
#pragma once

#include "scenecull/TqOcApi.h"

#include "geometry/TqLPlane3f.h"

#include <cstdint>

class TqLViewCriteria;
class TqOcContext;
class TqOcTraversable;

/// Base of all traversals. Copying copies everything, context pointer and counters included.
class TQOC_API TqOcTraversal
{
public:
    /// Most clip planes that a traversal takes.
    static constexpr int eMAX_CLIP_PLANES = 6;

    /// Switches "TqOcTraversal" on and off; calls are counted.
    /// @{
    static void Initialise();
    static void Terminate();
    static int IsInitialised();
    /// @}

    /// @param context  host callbacks, not owned; must outlive the traversal. No clip planes, no
    /// view criteria.
    explicit TqOcTraversal(TqOcContext* context);
    /// Copies every field; see the class.
    /// @{
    TqOcTraversal(TqOcTraversal const& other) = default;
    TqOcTraversal& operator=(TqOcTraversal const& other) = default;
    /// @}

    /// Runs the traversal from `root`, start to end. Null: posted with severity 1; nothing is run.
    void Apply(TqOcTraversable* root);

    /// The host's callbacks; may be null while nothing is applied. A new one must not be set in a
    /// frame.
    /// @{
    TqOcContext* GetContext() { return m_context; }

    TqOcContext const* GetContext() const { return m_context; }

    void SetContext(TqOcContext* context) { m_context = context; }

    /// @}

    /// Copies user clip planes, in world coordinates; what lies wholly on the negative side of one
    /// is culled. @param count  0 to 6; outside, severity 1 is posted and the nearest bound is
    /// used.
    void SetClipPlanes(TqLPlane3f const* planes, int count);

    /// The planes in force, world coordinates; the first GetNumClipPlanes() (0 to 6) count.
    /// @{
    int GetNumClipPlanes() const { return m_numClipPlanes; }

    TqLPlane3f const* GetClipPlanes() const { return m_clipPlanes; }

    /// @}

    /// Kept for the application; never read, not owned. Null after construction.
    /// @{
    void SetViewCriteria(TqLViewCriteria const* criteria) { m_viewCriteria = criteria; }

    TqLViewCriteria const* GetViewCriteria() const { return m_viewCriteria; }

    /// @}

    /// Cull tests made since the last application started.
    /// @{
    unsigned int GetNumAreaCullTests() const { return m_areaCullTests; }

    unsigned int GetNumFrustumCullTests() const { return m_frustumCullTests; }

    void IncAreaCullTests(unsigned int n) { m_areaCullTests += n; }

    void IncFrustumCullTests(unsigned int n) { m_frustumCullTests += n; }

    /// @}

    /// Copies context and clip planes from another traversal; view criteria and counters stay.
    void CopyConfig(TqOcTraversal const* other);

    // --- Virtual operations; their order is part of the binary interface -----------------------

    /// No Apply may be running.
    virtual ~TqOcTraversal();

    /// Updates the root, zeroes the counters and starts the traversal. Null: posted with severity
    /// 1; nothing is started. Apply hands a null root on to an override, which must not touch it
    /// and may leave it to this one to post.
    virtual void AsyncApply(TqOcTraversable* root);

    /// Ends the traversal that AsyncApply started.
    virtual void WaitForCompletion();

    /// Walks the hierarchy.
    virtual void StartTraversal(TqOcTraversable* root) = 0;

    /// Finishes and publishes the results.
    virtual void EndTraversal() = 0;

protected:
    /// Posts severity 1 when there is no root. @return whether there is one
    static bool HasRoot(TqOcTraversable const* root);

    /// Zeroes both counters.
    void ResetStats()
    {
        m_areaCullTests = 0;
        m_frustumCullTests = 0;
    }

private:
    // Data; the order is part of the binary interface.
    TqOcContext* m_context;
    std::int32_t m_numClipPlanes = 0;
    TqLPlane3f m_clipPlanes[eMAX_CLIP_PLANES];
    TqLViewCriteria const* m_viewCriteria = nullptr;
    std::uint32_t m_areaCullTests = 0;
    std::uint32_t m_frustumCullTests = 0;
};

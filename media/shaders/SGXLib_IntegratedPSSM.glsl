// Lumenda3D's receiver of the sun's shadows. It stands in for the RTShaderSystem's library of the
// same name (this folder comes first on the resource path) and keeps its two entry points, but
// reads each shadow map once per fragment instead of four times: with Mesa's software renderer
// the shadow lookups are most of a frame's cost, and the comparison sampler's own filtering keeps
// the edges soft enough.

#ifdef PSSM_SAMPLE_CMP
#define SAMPLER_TYPE sampler2DShadow
#else
#define SAMPLER_TYPE sampler2D
#endif

// The lighting of a fragment with the sun's share taken away where it is shadowed: only the
// ambient part stays in full shadow.
void SGX_ApplyShadowFactor_Diffuse(in vec4 ambient, in vec4 lightSum, in float fShadowFactor, out vec4 oLight)
{
	oLight.rgb = ambient.rgb + (lightSum.rgb - ambient.rgb) * fShadowFactor;
	oLight.a = lightSum.a;
}

// 1.0 where the sun sees the fragment, 0.0 where something in the map hides it.
float lmdSunVisibility(in SAMPLER_TYPE shadowMap, in vec4 lightPosition)
{
	vec3 p = lightPosition.xyz / lightPosition.w;
#if !defined(OGRE_REVERSED_Z) && !defined(OGRE_HLSL)
	p.z = p.z * 0.5 + 0.5; // clip depth -1..1 to the map's 0..1
#endif
	// A floating-point map never holds more than 1.0: compare with a clamped depth.
	float depth = clamp(p.z, 0.0, 1.0);
#ifdef PSSM_SAMPLE_CMP
#	ifdef OGRE_GLSLES
	float visible = shadow2D(shadowMap, vec3(p.xy, depth));
#	else
	float visible = shadow2D(shadowMap, vec3(p.xy, depth)).r;
#	endif
#else
	float visible = (depth <= texture2D(shadowMap, p.xy).r) ? 1.0 : 0.0;
#endif
#ifdef OGRE_REVERSED_Z
	visible = 1.0 - visible;
#endif
	return visible;
}

// Picks the map of the view slice the fragment's depth falls in.
void SGX_ComputeShadowFactor_PSSM3(in float fDepth,
							in vec4 vSplitPoints,
							in vec4 lightPosition0,
							in SAMPLER_TYPE shadowMap0,
							in vec2 invShadowMapSize0,
							#if PSSM_NUM_SPLITS > 2
							in vec4 lightPosition1,
							in SAMPLER_TYPE shadowMap1,
							in vec2 invShadowMapSize1,
							#endif
							#if PSSM_NUM_SPLITS > 3
							in vec4 lightPosition2,
							in SAMPLER_TYPE shadowMap2,
							in vec2 invShadowMapSize2,
							#endif
							in vec4 lightPosition3,
							in SAMPLER_TYPE shadowMap3,
							in vec2 invShadowMapSize3,
							out float oShadowFactor)
{
	if (fDepth <= vSplitPoints.x)
		oShadowFactor = lmdSunVisibility(shadowMap0, lightPosition0);
#if PSSM_NUM_SPLITS > 2
	else if (fDepth <= vSplitPoints.y)
		oShadowFactor = lmdSunVisibility(shadowMap1, lightPosition1);
#endif
#if PSSM_NUM_SPLITS > 3
	else if (fDepth <= vSplitPoints.z)
		oShadowFactor = lmdSunVisibility(shadowMap2, lightPosition2);
#endif
	else
		oShadowFactor = lmdSunVisibility(shadowMap3, lightPosition3);
}
